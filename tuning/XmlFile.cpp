#include "tuning/XmlFile.h"

#include "tuning/InputFile.h"

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

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

/// Parses one document. The result doesn't depend on libxml2's process-wide defaults, which other
/// code of the process may have changed.
class DocumentReader {
public:
    DocumentReader() : mContext(xmlNewParserCtxt()) {
        if (mContext == nullptr) throw std::bad_alloc();
        mContext->_private = this;
        // White space between elements is kept because `TagIterator::childrenNext` counts it as a
        // child. `xmlCtxtReadIO` has no option that keeps it if the process's default is to drop
        // it.
        mContext->sax->ignorableWhitespace = mContext->sax->characters;
        mContext->sax->serror = [](void* context, xmlErrorPtr error) {
            readerOf(context).keepError(*error);
        };
        mContext->sax->entityDecl = [](void* context, const xmlChar*, int, const xmlChar*,
                                       const xmlChar*,
                                       xmlChar*) { readerOf(context).refuseDeclaration(); };
        // The handler must free `values`, the list of the values that the attribute may have.
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

        // libxml2 treats a failed read as the end of the file, so the document may be incomplete.
        if (!file.error().empty()) {
            xmlFreeDoc(std::exchange(document, nullptr));
            mError = file.error();
        }
        if (document == nullptr && mError.empty()) mError = "not well-formed";
        return document;
    }

    const std::string& error() const { return mError; }

private:
    static DocumentReader& readerOf(void* context) {
        return *static_cast<DocumentReader*>(static_cast<xmlParserCtxt*>(context)->_private);
    }

    // Keeps the message of the first error, with blanks in place of line feeds. Warnings and
    // namespace errors are ignored: a document with an undeclared prefix can still be read.
    void keepError(const xmlError& error) {
        const bool matters = error.level >= XML_ERR_ERROR && error.domain != XML_FROM_NAMESPACE;
        if (!mError.empty() || !matters || error.message == nullptr) return;

        std::string message = error.message;
        while (message.ends_with('\n')) message.pop_back();
        std::replace(message.begin(), message.end(), '\n', ' ');
        mError = "line " + std::to_string(error.line) + ": " + message;
    }

    void refuseDeclaration() {
        if (mError.empty()) mError = "declarations of entities and attributes are not allowed";
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
