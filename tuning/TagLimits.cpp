#include "tuning/TagLimits.h"

namespace velora {

namespace {

/// Markup in which nothing but its end has a meaning.
struct Section {
    std::string_view start;
    std::string_view end;
};

constexpr Section kSections[] = {
    {"<?", "?>"},
    {"<!--", "-->"},
    {"<![CDATA[", "]]>"},
};

}  // namespace

bool TagLimits::accept(std::string_view block) {
    for (const char byte : block) {
        advance(byte);
        if (!mError.empty()) return false;
    }
    return true;
}

void TagLimits::advance(char byte) {
    if (byte == '\n') ++mLine;

    switch (mState) {
        case State::TEXT:
            if (byte != '<') break;
            mState = State::MARKUP;
            mMarkup = byte;
            mTagLine = mLine;
            break;
        case State::MARKUP:
            mMarkup += byte;
            openMarkup();
            break;
        case State::START_TAG:
        case State::DOCTYPE:
            advanceInTag(byte);
            break;
        case State::SECTION:
            advanceInSection(byte);
            break;
    }
}

// Decides what the markup is as soon as its first bytes show it.
void TagLimits::openMarkup() {
    for (const Section& section : kSections) {
        if (mMarkup == section.start) {
            mState = State::SECTION;
            mSectionEnd = section.end;
            mLastBytes.clear();
            return;
        }
        if (section.start.starts_with(mMarkup)) return;
    }

    switch (mMarkup[1]) {
        case '/':
            mState = State::TEXT;
            break;
        case '!':
            mState = State::DOCTYPE;
            if (mMarkup[2] != 'D') refuse("declarations are not allowed; remove them");
            break;
        default:
            mState = State::START_TAG;
            mTagSize = mMarkup.size();
            mAttributes = 0;
    }
}

void TagLimits::advanceInTag(char byte) {
    const bool isStartTag = mState == State::START_TAG;
    if (isStartTag && ++mTagSize > kMaxTagSize) {
        return refuse("a start tag has at most " + std::to_string(kMaxTagSize) +
                      " bytes; shorten or remove attributes");
    }

    if (mQuote != 0) {
        if (byte == mQuote) mQuote = 0;
    } else if (byte == '"' || byte == '\'') {
        mQuote = byte;
        if (isStartTag && ++mAttributes > kMaxAttributes) {
            refuse("a start tag has at most " + std::to_string(kMaxAttributes) +
                   " attributes and namespace declarations; remove some");
        }
    } else if (byte == '>' || (byte == '[' && !isStartTag)) {
        mState = State::TEXT;
    }
}

void TagLimits::advanceInSection(char byte) {
    if (mLastBytes.size() == mSectionEnd.size()) mLastBytes.erase(0, 1);
    mLastBytes += byte;
    if (mLastBytes == mSectionEnd) mState = State::TEXT;
}

void TagLimits::refuse(const std::string& reason) {
    mError = "line " + std::to_string(mTagLine) + ": " + reason;
}

}  // namespace velora
