#define LOG_TAG "TagIterator"

#include "tuning/TagIterator.h"

#include "tuning/XmlFile.h"
#include "util/Integers.h"

#include <utility>

#include <libxml/tree.h>

#include <log/log.h>
#include <utils/Errors.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kEmptyPathMessage[] = "Invalide xml file path, %d";
constexpr char kNotReadMessage[] = "fail to call xmlReadFile,  %d";
constexpr char kNoRootMessage[] = "fail to call xmlDocGetRootElement, %d";
constexpr char kEmptyStackMessage[] = "It's empty in node stack!";
constexpr char kNoNodeMessage[] = "Invalid node when parsing String vector.";
// Numbers inside log texts that are part of the interface; not line numbers of this file.
constexpr int kPathCheck = 40;
constexpr int kReadCheck = 46;
constexpr int kRootCheck = 52;

/// A text of libxml2, which is UTF-8 and may be null.
std::string_view viewOf(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

}  // namespace

TagIterator::TagIterator() = default;
TagIterator::~TagIterator() = default;

int TagIterator::init(const std::string& path) {
    clearAll();
    if (path.empty()) {
        ALOGE(kEmptyPathMessage, kPathCheck);
        return android::BAD_VALUE;
    }

    mFile = std::make_unique<XmlFile>(path);
    if (!mFile->isRead()) {
        ALOGE(kNotReadMessage, kReadCheck);
        ALOGE("%s: %s", path.c_str(), mFile->error().c_str());
        clearAll();
        return android::BAD_VALUE;
    }
    if (mFile->root() == nullptr) {
        ALOGE(kNoRootMessage, kRootCheck);
        return android::NO_INIT;
    }

    mCurrent = mFile->root()->children;
    return 0;
}

void TagIterator::clearAll() {
    mStack.clear();
    mCurrent = nullptr;
    mFile.reset();
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
        ALOGE(kEmptyStackMessage);
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

// Documents have no entities, so the value of an attribute is a single text node.
std::string_view TagIterator::valueOf(const xmlAttr* attribute) {
    const xmlNode* const text = attribute->children;
    return viewOf(text != nullptr ? text->content : nullptr);
}

bool TagIterator::checkCurrent() const {
    if (mCurrent == nullptr) ALOGE(kNoNodeMessage);
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
        // The first position with this name gets the value, any further one an empty text.
        for (size_t i = 0; i < names.size(); ++i) {
            if (names[i] == viewOf(a->name)) values[i] = std::exchange(value, {});
        }
    }
}

// Of attributes that differ only in their namespace, the last one counts, as in parseNodeWithName.
std::string TagIterator::getAttr(std::string_view name) const {
    std::string_view value;
    for (const xmlAttr* a = firstAttr(); a != nullptr; a = a->next) {
        if (viewOf(a->name) == name) value = valueOf(a);
    }
    return std::string(value);
}

}  // namespace velora
