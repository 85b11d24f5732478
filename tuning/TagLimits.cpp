#include "tuning/TagLimits.h"

#include <algorithm>

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

int countLines(std::string_view text) {
    int lines = 0;
    for (size_t at = text.find('\n'); at < text.size(); at = text.find('\n', at + 1)) ++lines;
    return lines;
}

/// The position of the first byte that means something outside of the values of a tag; the size if
/// there is none.
size_t findDelimiter(std::string_view text) {
    return static_cast<size_t>(std::find_if(text.begin(), text.end(),
                                            [](char byte) {
                                                return byte == '"' || byte == '\'' || byte == '>' ||
                                                       byte == '[';
                                            }) -
                               text.begin());
}

}  // namespace

bool TagLimits::accept(std::string_view block) {
    size_t tagStart = std::string_view::npos;  // if a `<` is in this block: of the last one
    for (size_t at = 0; at < block.size() && mReason.empty();) {
        const size_t size = advance(block.substr(at));
        at += size;
        if (mState == State::MARKUP && mMarkup.size() == 1) tagStart = at - 1;
    }

    // Lines are counted only when they are needed: for an error, and once per block.
    const bool isInMarkup = mState != State::TEXT || !mReason.empty();
    if (isInMarkup && tagStart < block.size()) {
        mTagLine = mLine + countLines(block.substr(0, tagStart));
    }
    mLine += countLines(block);
    if (!mReason.empty()) mError = "line " + std::to_string(mTagLine) + ": " + mReason;
    return mReason.empty();
}

size_t TagLimits::advance(std::string_view rest) {
    switch (mState) {
        case State::TEXT: {
            const size_t at = rest.find('<');
            if (at >= rest.size()) return rest.size();
            mState = State::MARKUP;
            mMarkup = '<';
            return at + 1;
        }
        case State::MARKUP:
            mMarkup += rest.front();
            openMarkup();
            return 1;
        case State::START_TAG:
        case State::DOCTYPE:
            return advanceInTag(rest);
        case State::SECTION:
            return advanceInSection(rest);
    }
    return rest.size();
}

// Decides what the markup is as soon as its first bytes show it.
void TagLimits::openMarkup() {
    const char kind = mMarkup[1];
    if (kind == '/') {
        mState = State::TEXT;
        return;
    }
    if (kind != '?' && kind != '!') {
        mState = State::START_TAG;
        mTagSize = mMarkup.size();
        mAttributes = 0;
        return;
    }

    for (const Section& section : kSections) {
        if (mMarkup == section.start) {
            mState = State::SECTION;
            mSectionEnd = section.end;
            mLastBytes.clear();
            return;
        }
        if (section.start.starts_with(mMarkup)) return;
    }
    mState = State::DOCTYPE;
    if (mMarkup[2] != 'D') mReason = "declarations are not allowed; remove them";
}

size_t TagLimits::advanceInTag(std::string_view rest) {
    const size_t at = mQuote != 0 ? rest.find(mQuote) : findDelimiter(rest);
    const bool isFound = at < rest.size();
    const size_t size = isFound ? at + 1 : rest.size();

    mTagSize += size;
    if (mState == State::START_TAG && mTagSize > kMaxTagSize) {
        mReason = "a start tag has at most " + std::to_string(kMaxTagSize) +
                  " bytes; shorten or remove attributes";
    } else if (isFound) {
        meetInTag(rest[at]);
    }
    return size;
}

void TagLimits::meetInTag(char delimiter) {
    const bool isStartTag = mState == State::START_TAG;
    if (mQuote != 0) {
        mQuote = 0;
    } else if (delimiter == '"' || delimiter == '\'') {
        mQuote = delimiter;
        if (isStartTag && ++mAttributes > kMaxAttributes) {
            mReason = "a start tag has at most " + std::to_string(kMaxAttributes) +
                      " attributes and namespace declarations; remove some";
        }
    } else if (delimiter == '>' || !isStartTag) {  // `[` means nothing in a start tag
        mState = State::TEXT;
    }
}

size_t TagLimits::advanceInSection(std::string_view rest) {
    const size_t at = rest.find(mSectionEnd.back());
    const size_t size = at < rest.size() ? at + 1 : rest.size();

    const size_t length = mSectionEnd.size();
    mLastBytes.append(rest.substr(0, size).substr(size - std::min(size, length)));
    mLastBytes.erase(0, mLastBytes.size() - std::min(mLastBytes.size(), length));
    if (mLastBytes == mSectionEnd) mState = State::TEXT;
    return size;
}

}  // namespace velora
