#include "tuning/XmlFile.h"

#include "tuning/InputFile.h"
#include "tuning/TagLimits.h"

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <strings.h>

#include <utils/Mutex.h>

namespace velora {

using android::Mutex;

namespace {

/// Initialises libxml2 for the first XmlFile of the process, and cleans it up after the last one.
/// Each XmlFile is one user. Both functions may be called on any thread.
///
/// The library is cleaned up only if a single thread has used it since it was initialised, because
/// that frees the state of the calling thread only and would leak the state of every other running
/// thread. Otherwise it remains initialised until the process ends.
class XmlLibrary {
public:
    static void addUser() {
        Mutex::Autolock lock(sLock);
        const auto caller = std::this_thread::get_id();
        if (sOnlyThread == std::thread::id()) {
            xmlInitParser();
            sOnlyThread = caller;
        }
        sIsShared = sIsShared || sOnlyThread != caller;
        ++sUsers;
    }

    static void removeUser() {
        Mutex::Autolock lock(sLock);
        sIsShared = sIsShared || sOnlyThread != std::this_thread::get_id();
        if (--sUsers > 0 || sIsShared) return;

        xmlCleanupParser();
        sOnlyThread = {};
    }

private:
    static Mutex sLock;
    static int sUsers GUARDED_BY(sLock);
    /// The thread that initialised the library; a default id while it isn't initialised.
    static std::thread::id sOnlyThread GUARDED_BY(sLock);
    /// Whether another thread has used the library too.
    static bool sIsShared GUARDED_BY(sLock);
};

Mutex XmlLibrary::sLock;
int XmlLibrary::sUsers = 0;
std::thread::id XmlLibrary::sOnlyThread;
bool XmlLibrary::sIsShared = false;

// libxml2's time grows with the product of the number of elements and each of the first two. A
// tuning file has some two hundred names and needs no namespace.
constexpr int kMaxNames = 10000;     ///< different ones; namespaces count too
constexpr int kMaxNamespaces = 256;  ///< declarations with effect in one element
constexpr int kMaxIgnored = 1000;    ///< errors that leave the document readable

/// Encodings besides UTF-8 that TagLimits can examine, by the beginnings of their names.
constexpr std::string_view kEncodings[] = {"US-ASCII", "ISO-8859-", "WINDOWS-125"};

/// Parses one document. The result doesn't depend on libxml2's process-wide defaults, which other
/// code of the process may have changed.
///
/// libxml2 reads the file in blocks of 4000 bytes. The limits are checked before it gets the next
/// one. After the first error it gets no more, so that the time for errors can't add up either.
class DocumentReader {
public:
    explicit DocumentReader(InputFile& file) : mFile(file), mContext(xmlNewParserCtxt()) {
        if (mContext == nullptr) throw std::bad_alloc();
        mContext->_private = this;
        // White space between elements is kept because `TagIterator::childrenNext` counts it as a
        // child. `xmlCtxtReadIO` has no option that keeps it if the process's default is to drop
        // it.
        mContext->sax->ignorableWhitespace = mContext->sax->characters;
        mContext->sax->serror = [](void* context, xmlErrorPtr error) {
            readerOf(context).keepError(*error);
        };
        mContext->sax->startDocument = [](void* context) {
            readerOf(context).checkEncoding();
            xmlSAX2StartDocument(context);
        };
        mContext->sax->startElementNs = addElement;
    }
    ~DocumentReader() { xmlFreeParserCtxt(mContext); }
    DocumentReader(const DocumentReader&) = delete;
    DocumentReader& operator=(const DocumentReader&) = delete;

    /// Returns the document, which the caller owns; null on failure, with `error` set.
    xmlDoc* read(const std::string& path) {
        const auto readBlock = [](void* reader, char* bytes, int size) {
            return static_cast<DocumentReader*>(reader)->readBlock(bytes, size);
        };
        xmlDoc* document = xmlCtxtReadIO(mContext, readBlock, nullptr, this, path.c_str(), nullptr,
                                         XML_PARSE_COMPACT);

        // libxml2 treats a failed read as the end of the file, so the document may be incomplete.
        if (!mError.empty()) xmlFreeDoc(std::exchange(document, nullptr));
        if (document == nullptr && mError.empty()) mError = "not well-formed";
        return document;
    }

    const std::string& error() const { return mError; }

private:
    static DocumentReader& readerOf(void* context) {
        return *static_cast<DocumentReader*>(static_cast<xmlParserCtxt*>(context)->_private);
    }

    /// Adds an element without its namespaces, because nothing uses them. For each name with a
    /// prefix, libxml2 would search the tree from there up to its root.
    static void addElement(void* context, const xmlChar* name, const xmlChar* prefix,
                           const xmlChar* uri, int, const xmlChar**, int attributeCount,
                           int defaultedCount, const xmlChar** attributes) {
        // Five pointers each: name, prefix, namespace, begin and end of the value.
        for (int i = 0; i < attributeCount; ++i) {
            const xmlChar** const attribute = attributes + ptrdiff_t{5} * i;
            if (attribute[2] != nullptr) attribute[1] = nullptr;
        }
        // The prefix remains a part of the name if it isn't declared.
        xmlSAX2StartElementNs(context, name, uri != nullptr ? nullptr : prefix, nullptr, 0, nullptr,
                              attributeCount, defaultedCount, attributes);
    }

    // Returns how many bytes were read: 0 at the end of the file, -1 after an error.
    int readBlock(char* bytes, int size) {
        checkCounts();
        if (!mError.empty()) return -1;

        const int count = mFile.read(bytes, size);
        if (count < 0) {
            mError = mFile.error();
        } else if (!mTagLimits.accept({bytes, static_cast<size_t>(count)})) {
            mError = mTagLimits.error();
        }
        return mError.empty() ? count : -1;
    }

    void checkCounts() {
        if (xmlDictSize(mContext->dict) > kMaxNames) {
            refuse("a file has at most " + std::to_string(kMaxNames) +
                   " different names; remove unknown elements");
        }
        // libxml2 counts the prefix and the namespace.
        if (mContext->nsNr > 2 * kMaxNamespaces) {
            refuse("at most " + std::to_string(kMaxNamespaces) +
                   " namespace declarations apply to an element; remove some");
        }
    }

    // Called after the XML declaration and before everything else.
    void checkEncoding() {
        const xmlCharEncodingHandler* const encoding = mContext->input->buf->encoder;
        if (encoding == nullptr) return;  // UTF-8

        const std::string name = encoding->name;
        for (const std::string_view beginning : kEncodings) {
            if (strncasecmp(name.c_str(), beginning.data(), beginning.size()) == 0) return;
        }
        refuse("the encoding " + name + " is not supported; save the file as UTF-8");
        xmlStopParser(mContext);
    }

    // Errors that leave the document readable are ignored up to a number, such as a prefix that
    // isn't declared. A message has line feeds.
    void keepError(const xmlError& error) {
        if (error.level < XML_ERR_FATAL && ++mIgnored <= kMaxIgnored) return;

        std::string message = error.message != nullptr ? error.message : "not well-formed";
        while (message.ends_with('\n')) message.pop_back();
        std::replace(message.begin(), message.end(), '\n', ' ');
        refuse(message);
    }

    // The first reason is kept.
    void refuse(const std::string& reason) {
        if (!mError.empty()) return;
        const int line = mContext->input != nullptr ? mContext->input->line : 1;
        mError = "line " + std::to_string(line) + ": " + reason;
    }

    InputFile& mFile;
    xmlParserCtxt* const mContext;
    TagLimits mTagLimits;
    int mIgnored = 0;  ///< errors
    std::string mError;
};

}  // namespace

XmlFile::XmlFile(const std::string& path) {
    XmlLibrary::addUser();
    InputFile file(path, kMaxSize);
    mError = file.error();
    if (!mError.empty()) return;

    DocumentReader reader(file);
    mDocument = reader.read(path);
    if (mDocument == nullptr) mError = reader.error();
}

XmlFile::~XmlFile() {
    xmlFreeDoc(mDocument);
    XmlLibrary::removeUser();
}

_xmlNode* XmlFile::root() const { return xmlDocGetRootElement(mDocument); }

}  // namespace velora
