#define LOG_TAG "TagIterator"

#include "tuning/TagIterator.h"

#include "util/Integers.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <sys/stat.h>
#include <unistd.h>

#include <log/log.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>

namespace velora {

using android::Mutex;

namespace {

// What the first three messages call their place in the file.
constexpr int kPathCheck = 40;
constexpr int kReadCheck = 46;
constexpr int kRootCheck = 52;

std::string_view viewOf(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

/// libxml2's global state. It is cleaned up when the last open document closes, as long as one
/// thread alone has used it: what it keeps for other threads that live would be lost with it.
class XmlLibrary {
public:
    static void open() {
        Mutex::Autolock lock(sLock);
        const auto caller = std::this_thread::get_id();
        if (sThread == std::thread::id()) {
            xmlInitParser();
            sThread = caller;
        }
        sShared = sShared || sThread != caller;
        ++sDocuments;
    }
    static void close() {
        Mutex::Autolock lock(sLock);
        sShared = sShared || sThread != std::this_thread::get_id();
        if (--sDocuments > 0 || sShared) return;
        xmlCleanupParser();
        sThread = {};
    }

private:
    static Mutex sLock;
    static int sDocuments GUARDED_BY(sLock);
    static std::thread::id sThread
        GUARDED_BY(sLock);                  ///< that uses it; none while it is cleaned up
    static bool sShared GUARDED_BY(sLock);  ///< other threads have used it too
};

Mutex XmlLibrary::sLock;
int XmlLibrary::sDocuments = 0;
std::thread::id XmlLibrary::sThread;
bool XmlLibrary::sShared = false;

/// A plain file as libxml2's input, as long as it isn't larger than a tuning file may be: whatever
/// its size was, it may be growing.
class InputFile {
public:
    explicit InputFile(const std::string& path)
        : mFd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        struct stat info {};
        if (mFd < 0 || fstat(mFd, &info) != 0) {
            mError = std::generic_category().message(errno);
        } else if (!S_ISREG(info.st_mode)) {
            mError = "not a file";
        } else if (info.st_size > static_cast<off_t>(TagIterator::kMaxFileSize)) {
            mError = kTooLarge;
        }
    }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile() {
        if (mFd >= 0) close(mFd);
    }

    /// Why it can't be used; empty as long as it can.
    const std::string& error() const { return mError; }

    /// Number of the bytes read, 0 at the end, -1 on failure, which libxml2 takes for the end.
    static int read(void* self, char* bytes, int size) {
        return static_cast<InputFile*>(self)->read(bytes, static_cast<size_t>(size));
    }

private:
    static constexpr char kTooLarge[] = "too large";

    int read(char* bytes, size_t size) {
        size_t got = 0;
        ssize_t count = 1;
        while (got < size && count > 0) {
            count = TEMP_FAILURE_RETRY(::read(mFd, bytes + got, size - got));
            if (count > 0) got += static_cast<size_t>(count);
        }
        mSize += got;
        if (count < 0) mError = std::generic_category().message(errno);
        if (mSize > TagIterator::kMaxFileSize) mError = kTooLarge;
        return mError.empty() ? static_cast<int>(got) : -1;
    }

    const int mFd;
    size_t mSize = 0;
    std::string mError;
};

/// Reads one document as the format wants it, whatever the process has set for itself in libxml2:
/// white space kept, nothing replaced or validated. What a document may declare to grow while it is
/// read, entities and attribute defaults, is refused at its declaration.
class DocumentReader {
public:
    DocumentReader() : mContext(xmlNewParserCtxt()) {
        mContext->_private = this;
        mContext->keepBlanks = 1;
        mContext->replaceEntities = 0;
        mContext->validate = 0;
        mContext->loadsubset = 0;
        mContext->sax->serror = [](void* context, xmlErrorPtr error) { of(context).note(*error); };
        mContext->sax->entityDecl = [](void* context, const xmlChar*, int, const xmlChar*,
                                       const xmlChar*, xmlChar*) { of(context).refuse(); };
        mContext->sax->attributeDecl = [](void* context, const xmlChar*, const xmlChar*, int, int,
                                          const xmlChar*, xmlEnumerationPtr values) {
            xmlFreeEnumeration(values);
            of(context).refuse();
        };
    }
    DocumentReader(const DocumentReader&) = delete;
    DocumentReader& operator=(const DocumentReader&) = delete;
    ~DocumentReader() { xmlFreeParserCtxt(mContext); }

    /// Null if it can't be read; then `error` says why, unless the file's does.
    xmlDoc* read(InputFile& file, const std::string& path) {
        return xmlCtxtReadIO(mContext, InputFile::read, nullptr, &file, path.c_str(), nullptr,
                             XML_PARSE_COMPACT);
    }
    /// The first thing found wrong: "line 3: ...".
    const std::string& error() const { return mError; }

private:
    static DocumentReader& of(void* context) {
        return *static_cast<DocumentReader*>(static_cast<xmlParserCtxt*>(context)->_private);
    }

    void note(const xmlError& error) {
        const bool counts = error.level >= XML_ERR_ERROR && error.domain != XML_FROM_NAMESPACE;
        if (!mError.empty() || !counts || error.message == nullptr) return;
        std::string message = error.message;
        while (message.ends_with('\n')) message.pop_back();
        std::replace(message.begin(), message.end(), '\n', ' ');
        mError = "line " + std::to_string(error.line) + ": " + message;
    }

    void refuse() {
        if (mError.empty()) mError = "entities and attributes can't be declared";
        mContext->wellFormed = 0;
        xmlStopParser(mContext);
    }

    xmlParserCtxt* const mContext;
    std::string mError;
};

}  // namespace

TagIterator::~TagIterator() { clearAll(); }

int TagIterator::init(const std::string& path) {
    if (path.empty()) {
        ALOGE("Invalide xml file path, %d", kPathCheck);
        return android::BAD_VALUE;
    }
    XmlLibrary::open();
    mDocument = readDocument(path);
    if (mDocument == nullptr) {
        XmlLibrary::close();
        return android::BAD_VALUE;
    }
    mRoot = xmlDocGetRootElement(mDocument);
    if (mRoot == nullptr) {
        ALOGE("fail to call xmlDocGetRootElement, %d", kRootCheck);
        return android::NO_INIT;
    }
    mCurrent = mRoot->children;
    return 0;
}

xmlDoc* TagIterator::readDocument(const std::string& path) {
    InputFile file(path);
    DocumentReader reader;
    xmlDoc* document = file.error().empty() ? reader.read(file, path) : nullptr;
    if (!file.error().empty()) xmlFreeDoc(std::exchange(document, nullptr));
    if (document == nullptr) {
        const std::string& reason = file.error().empty() ? reader.error() : file.error();
        ALOGE("fail to call xmlReadFile,  %d", kReadCheck);
        ALOGE("%s: %s", path.c_str(), reason.c_str());
    }
    return document;
}

void TagIterator::clearAll() {
    mStack.clear();
    mRoot = nullptr;
    mCurrent = nullptr;
    if (xmlDoc* const document = std::exchange(mDocument, nullptr)) {
        xmlFreeDoc(document);
        XmlLibrary::close();
    }
}

void TagIterator::next() {
    if (mCurrent != nullptr) mCurrent = mCurrent->next;
}

void TagIterator::childrenNext() {
    if (isChildrenValid()) mCurrent = mCurrent->children->next;
}

bool TagIterator::isChildrenValid() const {
    return mCurrent != nullptr && mCurrent->children != nullptr;
}

bool TagIterator::isNextValid() const { return mCurrent != nullptr && mCurrent->next != nullptr; }

bool TagIterator::isCurValid() const { return mCurrent != nullptr; }

bool TagIterator::isElementNode() const {
    return mCurrent != nullptr && mCurrent->type == XML_ELEMENT_NODE;
}

void TagIterator::pushNode() { mStack.push_back(mCurrent); }

void TagIterator::popNode() {
    if (mStack.empty()) {
        ALOGE("It's empty in node stack!");
        return;
    }
    mCurrent = mStack.back();
    mStack.pop_back();
}

std::string_view TagIterator::getNodeName() const {
    return mCurrent != nullptr ? viewOf(mCurrent->name) : "";
}

const xmlAttr* TagIterator::firstAttr() const {
    return isElementNode() ? mCurrent->properties : nullptr;
}

// No entities, so a value is one text.
std::string_view TagIterator::valueOf(const xmlAttr* attribute) {
    const xmlNode* const text = attribute->children;
    return viewOf(text != nullptr ? text->content : nullptr);
}

bool TagIterator::checkCurrent() const {
    if (mCurrent == nullptr) ALOGE("Invalid node when parsing String vector.");
    return mCurrent != nullptr;
}

std::vector<std::string> TagIterator::getAttrsName() const {
    std::vector<std::string> names;
    for (const xmlAttr* a = firstAttr(); a != nullptr; a = a->next) {
        names.emplace_back(viewOf(a->name));
    }
    return names;
}

void TagIterator::parseNodeIntVector(std::vector<int>& out) const {
    if (!checkCurrent()) return;
    for (const xmlAttr* a = firstAttr(); a != nullptr; a = a->next) {
        out.push_back(string2Int(valueOf(a)));
    }
}

void TagIterator::parseNodeAll(std::vector<std::string>& values) const {
    parseNodeWithName({}, values);
}

void TagIterator::parseNodeWithName(Names names, std::vector<std::string>& values) const {
    if (!checkCurrent() || !isElementNode()) return;
    if (!names.empty()) values.resize(names.size());
    for (const xmlAttr* a = firstAttr(); a != nullptr; a = a->next) {
        std::string_view value = valueOf(a);
        if (names.empty()) values.emplace_back(value);
        for (size_t i = 0; i < names.size(); ++i) {
            if (names[i] == viewOf(a->name)) values[i] = std::exchange(value, {});
        }
    }
}

std::string TagIterator::getAttr(std::string_view name) const {
    std::string_view value;
    for (const xmlAttr* a = firstAttr(); a != nullptr; a = a->next) {
        if (viewOf(a->name) == name) value = valueOf(a);
    }
    return std::string(value);
}

}  // namespace velora
