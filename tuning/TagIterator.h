#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

struct _xmlAttr;
struct _xmlDoc;
struct _xmlNode;

namespace velora {

/// The one cursor through which a tuning file is read: a current node that moves among siblings or
/// down into children, and a stack of remembered places.
///
/// A node is an element, a text (the white space between elements too) or a comment; the cursor
/// doesn't skip any. Descending goes to the *second* child, because in the indented files that the
/// system reads the first one is white space.
///
/// When the last open document closes, libxml2 is cleaned up as a whole, as long as one thread
/// alone has opened documents: nobody else in the process may be using it then, and what others had
/// set there is lost.
///
/// Owned by one parser; one thread at a time. Owns the document; what it hands out as views stands
/// until the document is closed. Fails by its result in `init`, and by log lines elsewhere.
class TagIterator {
public:
    using Names = std::span<const std::string_view>;

    /// Larger files are refused, so that the worst one takes less than a gigabyte. A tuning file
    /// has a few hundred kilobytes.
    static constexpr size_t kMaxFileSize = 4 << 20;

    TagIterator() = default;
    TagIterator(const TagIterator&) = delete;
    TagIterator& operator=(const TagIterator&) = delete;
    virtual ~TagIterator();

    /// Opens the document at `path` and goes to the first child of its root. 0; -22 for an empty
    /// path or a file that can't be read as XML, -19 for one without a root. A document that is
    /// open already must be closed first.
    virtual int init(const std::string& path);

    /// To the next sibling; behind the last one there is no current node.
    virtual void next();
    /// To the second child. Nothing changes without any child.
    virtual void childrenNext();
    virtual bool isChildrenValid() const;
    virtual bool isNextValid() const;
    virtual bool isCurValid() const;
    virtual bool isElementNode() const;

    virtual void pushNode();
    /// Back to the place remembered last.
    virtual void popNode();

    /// Name of the current node; empty without one.
    virtual std::string_view getNodeName() const;
    /// Names of the current element's attributes, in the order of the document.
    virtual std::vector<std::string> getAttrsName() const;
    /// Appends every attribute's value as an integer.
    virtual void parseNodeIntVector(std::vector<int>& out) const;
    /// Appends every attribute's value.
    virtual void parseNodeAll(std::vector<std::string>& values) const;
    /// Puts the value of the attribute `names[i]` into `values[i]`, which is sized to fit; slots
    /// without an attribute keep their text. A name that stands twice is filled once. Without
    /// names, as `parseNodeAll`.
    virtual void parseNodeWithName(Names names, std::vector<std::string>& values) const;

    /// Value of one attribute of the current element; empty without it.
    std::string getAttr(std::string_view name) const;

    /// Closes the document.
    void clearAll();

private:
    _xmlDoc* readDocument(const std::string& path);
    static std::string_view valueOf(const _xmlAttr* attribute);
    const _xmlAttr* firstAttr() const;
    bool checkCurrent() const;

    _xmlDoc* mDocument = nullptr;
    _xmlNode* mRoot = nullptr;
    _xmlNode* mCurrent = nullptr;
    std::vector<_xmlNode*> mStack;
};

}  // namespace velora
