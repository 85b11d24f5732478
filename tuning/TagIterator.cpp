#define LOG_TAG "TagIterator"

#include "tuning/TagIterator.h"

#include "model/Integers.h"

#include <cerrno>
#include <memory>
#include <system_error>
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

std::string_view textOf(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

/// libxml2's global state, which may only be cleaned up while no document is open in any thread.
class XmlLibrary {
public:
    static void open() {
        Mutex::Autolock lock(sLock);
        if (sDocuments++ == 0) xmlInitParser();
    }
    static void close() {
        Mutex::Autolock lock(sLock);
        if (--sDocuments == 0) xmlCleanupParser();
    }

private:
    static Mutex sLock;
    static int sDocuments GUARDED_BY(sLock);
};

Mutex XmlLibrary::sLock;
int XmlLibrary::sDocuments = 0;

/// An open file.
class File {
public:
    explicit File(const std::string& path)
        : mFd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (mFd >= 0) close(mFd);
    }

    int fd() const { return mFd; }

private:
    const int mFd;
};

/// Keeps libxml2 from writing to standard error; what it found is asked for afterwards.
class QuietErrors {
public:
    QuietErrors() : mHandler(xmlStructuredError), mContext(xmlStructuredErrorContext) {
        xmlSetStructuredErrorFunc(nullptr, [](void*, xmlErrorPtr) {});
        xmlResetLastError();
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;
    ~QuietErrors() { xmlSetStructuredErrorFunc(mContext, mHandler); }

private:
    const xmlStructuredErrorFunc mHandler;
    void* const mContext;
};

/// What libxml2 said last, and where: ", line 3: ...".
std::string lastXmlError() {
    const xmlError* const error = xmlGetLastError();
    if (error == nullptr || error->message == nullptr) return {};
    std::string_view message = error->message;
    while (message.ends_with('\n')) message.remove_suffix(1);
    return ", line " + std::to_string(error->line) + ": " + std::string(message);
}

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
    const auto fail = [&](const std::string& reason) {
        ALOGE("fail to call xmlReadFile,  %d", kReadCheck);
        ALOGE("%s%s", path.c_str(), reason.c_str());
        return nullptr;
    };
    const File file(path);
    struct stat info {};
    if (file.fd() < 0 || fstat(file.fd(), &info) != 0) {
        return fail(": " + std::generic_category().message(errno));
    }
    if (!S_ISREG(info.st_mode)) return fail(": not a file");
    if (info.st_size > kMaxFileSize) return fail(": too large");
    const QuietErrors quiet;
    xmlDoc* const document = xmlReadFd(file.fd(), path.c_str(), nullptr, 0);
    return document != nullptr ? document : fail(lastXmlError());
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
    return mCurrent != nullptr ? textOf(mCurrent->name) : "";
}

const xmlAttr* TagIterator::firstAttr() const {
    return isElementNode() ? mCurrent->properties : nullptr;
}

std::string TagIterator::valueOf(const xmlAttr* attribute) const {
    const xmlNode* const text = attribute->children;
    if (text == nullptr) return {};
    if (text->next == nullptr && text->type == XML_TEXT_NODE)
        return std::string(textOf(text->content));
    // References to entities stand between texts.
    const std::unique_ptr<xmlChar, decltype(xmlFree)> joined(
        xmlNodeListGetString(mDocument, text, 1), xmlFree);
    return std::string(textOf(joined.get()));
}

bool TagIterator::checkCurrent() const {
    if (mCurrent == nullptr) ALOGE("Invalid node when parsing String vector.");
    return mCurrent != nullptr;
}

std::vector<std::string> TagIterator::getAttrsName() const {
    std::vector<std::string> names;
    for (const xmlAttr* a = firstAttr(); a != nullptr; a = a->next) {
        names.emplace_back(textOf(a->name));
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
        std::string value = valueOf(a);
        if (names.empty()) values.push_back(std::move(value));
        for (size_t i = 0; i < names.size(); ++i) {
            if (names[i] == textOf(a->name)) values[i] = std::exchange(value, {});
        }
    }
}

std::string TagIterator::getAttr(std::string_view name) const {
    for (const xmlAttr* a = firstAttr(); a != nullptr; a = a->next) {
        if (textOf(a->name) == name) return valueOf(a);
    }
    return {};
}

}  // namespace velora
