#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct _xmlAttr;
struct _xmlNode;

namespace velora {

class XmlFile;

/// The cursor through which a tuning file is read: a current node that moves among siblings or down
/// into children, and a stack of remembered nodes.
///
/// A node is an element, a text (including the white space between elements) or a comment; the
/// cursor doesn't skip any. Descending leads to the *second* child, because in the indented files
/// that the system reads the first one is white space. `ElementsBelow` is the usual way to walk.
///
/// Owned by one parser; one thread at a time (XmlFile adds rules for the whole process). Owns the
/// document. Returned views remain valid until it is closed. Opening fails by the result of `init`;
/// every other operation does nothing, or returns an empty result, without a current node.
class TagIterator {
public:
    using Names = std::span<const std::string_view>;

    TagIterator();
    TagIterator(const TagIterator&) = delete;
    TagIterator& operator=(const TagIterator&) = delete;
    virtual ~TagIterator();

    /// Opens the document at `path`, in place of the one that was open, and moves to the first
    /// child of its root. Returns 0; -22 for an empty path or a file that can't be read as XML; -19
    /// for a document without a root. After a failure there is no current node.
    [[nodiscard]] virtual int init(const std::string& path);

    /// Moves to the next sibling. After the last one there is no current node.
    virtual void next();
    /// Moves to the second child, or to no node after an only child. Does nothing if there are no
    /// children.
    virtual void childrenNext();
    virtual bool isChildrenValid() const;
    /// The vendor's interface has it; the product itself doesn't call it.
    virtual bool isNextValid() const;
    virtual bool isCurValid() const;
    virtual bool isElementNode() const;

    /// Remembers the current node, even if there is none.
    virtual void pushNode();
    /// Returns to the node remembered last. Without one, logs an error and stays.
    virtual void popNode();

    /// Name of the current node; empty without one.
    virtual std::string_view getNodeName() const;
    /// Names of the current element's attributes, in the order of the document. The vendor's
    /// interface has it; the product itself doesn't call it.
    virtual std::vector<std::string> getAttrsName() const;
    /// Appends every attribute's value to `out`, as an integer.
    virtual void parseNodeIntVector(std::vector<int>& out) const;
    /// Appends every attribute's value to `values`.
    virtual void parseNodeAll(std::vector<std::string>& values) const;
    /// Stores the value of the attribute `names[i]` in `values[i]`, after resizing `values` to as
    /// many; where the element has no such attribute, `values[i]` keeps its text. Of a name given
    /// twice, the second position gets an empty text. Does the same as `parseNodeAll` if `names` is
    /// empty.
    virtual void parseNodeWithName(Names names, std::vector<std::string>& values) const;

    /// Value of one attribute of the current element; empty without it.
    std::string getAttr(std::string_view name) const;

    /// Closes the document and forgets the remembered nodes.
    void clearAll();

private:
    static std::string_view valueOf(const _xmlAttr* attribute);
    const _xmlAttr* firstAttr() const;
    bool checkCurrent() const;

    std::unique_ptr<const XmlFile> mFile;  ///< null while no document is open
    _xmlNode* mCurrent = nullptr;
    std::vector<_xmlNode*> mStack;
};

}  // namespace velora
