#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velora {

/// Checks the tags of an XML document: no start tag may be larger than the limits below, and the
/// DOCTYPE must not declare anything. libxml2 compares the attributes of a tag with each other, so
/// a tag of a megabyte would take it half a minute; declarations can cost as much.
///
/// The document is given as consecutive blocks of bytes, before libxml2 gets them. Its encoding
/// must have every ASCII character as one byte, and no such byte in any other character. What isn't
/// well-formed may be taken for something else: the caller stops at libxml2's first error.
///
/// Owned by the reader of one document and used by its thread.
class TagLimits {
public:
    /// Bytes of a start tag, with `<` and `>`.
    static constexpr size_t kMaxTagSize = 16 << 10;
    /// Attributes of a start tag, with its namespace declarations.
    static constexpr size_t kMaxAttributes = 256;

    /// Checks the next bytes of the document. False if a tag is refused, with `error` set: this
    /// block must not be parsed, and no other one may follow.
    [[nodiscard]] bool accept(std::string_view block);

    /// Why a tag was refused: "line 3: ..."; empty as long as none was.
    const std::string& error() const { return mError; }

private:
    enum class State {
        TEXT,       ///< also everything in an end tag after its `</`
        MARKUP,     ///< after a `<` whose meaning isn't known yet
        START_TAG,  ///< after the first byte of its name
        DOCTYPE,    ///< up to its `>` or to the `[` of its internal subset, which is taken for TEXT
        SECTION,    ///< a comment, CDATA section or processing instruction
    };

    // Each advances by one step in what is left of the block, and returns the size of the step.
    size_t advance(std::string_view rest);
    size_t advanceInTag(std::string_view rest);
    size_t advanceInSection(std::string_view rest);
    void openMarkup();
    void meetInTag(char delimiter);

    State mState = State::TEXT;
    int mLine = 1;                 ///< at the beginning of the block
    std::string mMarkup;           ///< MARKUP: from the `<`
    std::string_view mSectionEnd;  ///< SECTION: the bytes that end it
    std::string mLastBytes;        ///< SECTION: its last bytes, as many as end it
    char mQuote = 0;               ///< START_TAG, DOCTYPE: the quote that ends the value, or 0
    size_t mTagSize = 0;           ///< START_TAG: bytes so far
    size_t mAttributes = 0;        ///< START_TAG: values that have begun
    int mTagLine = 0;              ///< of the `<`, if that was in an earlier block
    std::string mReason;           ///< why the tag is refused
    std::string mError;
};

}  // namespace velora
