#include "tuning/XmlFile.h"

#include "tuning/InputFile.h"

#include <algorithm>
#include <thread>
#include <utility>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <utils/Mutex.h>

namespace velora {

using android::Mutex;

namespace {

/// libxml2's global state, shared by all XmlFiles of the process. Any thread may call.
///
/// It is cleaned up when its last user is removed. That frees the state of the calling thread, but
/// leaks the state of every other living one; so it is never done once two threads have used the
/// library since it was initialised.
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
    /// The thread that initialised the library; none while it isn't initialised.
    static std::thread::id sOnlyThread GUARDED_BY(sLock);
    /// Whether another thread has used the library too.
    static bool sIsShared GUARDED_BY(sLock);
};

Mutex XmlLibrary::sLock;
int XmlLibrary::sUsers = 0;
std::thread::id XmlLibrary::sOnlyThread;
bool XmlLibrary::sIsShared = false;

/// Parses one document. No default that the process has set in libxml2 has an influence.
class DocumentReader {
public:
    DocumentReader() : mContext(xmlNewParserCtxt()) {
        mContext->_private = this;
        // White space between elements is kept, as `TagIterator::childrenNext` counts it as a
        // child. No option of `xmlCtxtReadIO` says so if the process has another default.
        mContext->sax->ignorableWhitespace = mContext->sax->characters;
        mContext->sax->serror = [](void* context, xmlErrorPtr error) {
            readerOf(context).keepError(*error);
        };
        mContext->sax->entityDecl = [](void* context, const xmlChar*, int, const xmlChar*,
                                       const xmlChar*,
                                       xmlChar*) { readerOf(context).refuseDeclaration(); };
        // The handler owns the enumeration of the attribute's values.
        mContext->sax->attributeDecl = [](void* context, const xmlChar*, const xmlChar*, int, int,
                                          const xmlChar*, xmlEnumerationPtr values) {
            xmlFreeEnumeration(values);
            readerOf(context).refuseDeclaration();
        };
    }
    ~DocumentReader() { xmlFreeParserCtxt(mContext); }
    DocumentReader(const DocumentReader&) = delete;
    DocumentReader& operator=(const DocumentReader&) = delete;

    /// Returns the document, which the caller owns; null on failure, with `error` set.
    xmlDoc* read(InputFile& file, const std::string& path) {
        const auto readBytes = [](void* input, char* bytes, int size) {
            return static_cast<InputFile*>(input)->read(bytes, size);
        };
        xmlDoc* document = xmlCtxtReadIO(mContext, readBytes, nullptr, &file, path.c_str(), nullptr,
                                         XML_PARSE_COMPACT);

        // To libxml2 a failed read is the end of the file, so the document may be cut off.
        if (!file.error().empty()) {
            xmlFreeDoc(std::exchange(document, nullptr));
            mError = file.error();
        }
        return document;
    }

    const std::string& error() const { return mError; }

private:
    static DocumentReader& readerOf(void* context) {
        return *static_cast<DocumentReader*>(static_cast<xmlParserCtxt*>(context)->_private);
    }

    // Keeps the first error, on one line. Undeclared namespaces don't make a document unreadable.
    void keepError(const xmlError& error) {
        const bool matters = error.level >= XML_ERR_ERROR && error.domain != XML_FROM_NAMESPACE;
        if (!mError.empty() || !matters || error.message == nullptr) return;

        std::string message = error.message;
        while (message.ends_with('\n')) message.pop_back();
        std::replace(message.begin(), message.end(), '\n', ' ');
        mError = "line " + std::to_string(error.line) + ": " + message;
    }

    void refuseDeclaration() {
        if (mError.empty()) mError = "entities and attributes can't be declared";
        mContext->wellFormed = 0;
        xmlStopParser(mContext);
    }

    xmlParserCtxt* const mContext;
    std::string mError;
};

}  // namespace

XmlFile::XmlFile(const std::string& path) {
    XmlLibrary::addUser();
    InputFile file(path, kMaxSize);
    mError = file.error();
    if (!mError.empty()) return;

    DocumentReader reader;
    mDocument = reader.read(file, path);
    if (mDocument == nullptr) mError = reader.error();
}

XmlFile::~XmlFile() {
    xmlFreeDoc(mDocument);
    XmlLibrary::removeUser();
}

_xmlNode* XmlFile::root() const { return xmlDocGetRootElement(mDocument); }

}  // namespace velora
