#pragma once

#include <cstddef>
#include <string>

struct _xmlDoc;
struct _xmlNode;

namespace velora {

/// An XML file, read whole into libxml2's tree when it is constructed.
///
/// Owned by one TagIterator, used by one thread at a time. Owns the tree, which remains valid until
/// it is destroyed. Fails by having no root; `error` says why.
///
/// It bounds what a hostile or damaged file can cost, so that none takes a second: the file must be
/// a plain one of at most `kMaxSize` bytes, obey TagLimits, and be written in UTF-8 or an encoding
/// of single bytes. Different names and namespaces are limited too. Reading ends at the first
/// error. The tree has no namespaces.
///
/// libxml2 as a whole is cleaned up when the last object is destroyed, unless several threads have
/// used objects since the first one. At that moment nobody else in the process may be using
/// libxml2, and what others have set in it is lost.
class XmlFile {
public:
    /// Bytes. A tuning file has a few hundred kilobytes; reading the worst file of this size
    /// needs less than a gigabyte of memory.
    static constexpr size_t kMaxSize = 4 << 20;

    explicit XmlFile(const std::string& path);
    ~XmlFile();
    XmlFile(const XmlFile&) = delete;
    XmlFile& operator=(const XmlFile&) = delete;

    /// False if the file couldn't be read or isn't well-formed.
    bool isRead() const { return mDocument != nullptr; }
    /// Why the file couldn't be read, without its path: "line 3: ..."; empty if it could be.
    const std::string& error() const { return mError; }
    /// The root element; null if the document has none or wasn't read.
    _xmlNode* root() const;

private:
    _xmlDoc* mDocument = nullptr;
    std::string mError;
};

}  // namespace velora
