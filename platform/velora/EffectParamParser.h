#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <system/audio.h>

namespace velora {

/// Number of an effect parameter: its short name in lower case, four characters, the first in the
/// least significant byte.
using SfxParameterId = uint32_t;

/// Reads a packed block of effect parameters.
///
/// The block consists of 32-bit words in native order: target, number of entries, then the entries,
/// each of which is device, parameter number, number of values, values. The caller owns the block
/// and must keep it valid while the parser and its entries are in use. One thread at a time.
class EffectParamParser {
public:
    struct Entry {
        audio_devices_t device;
        SfxParameterId id;
        const int32_t* values;  ///< inside the block
        uint32_t count;
    };

    /// `size` is in bytes; `data` may be null.
    EffectParamParser(const void* data, uint32_t size);

    /// True if the block consists of aligned whole words and exactly the entries that it announces:
    /// none incomplete, none missing, no words after the last.
    [[nodiscard]] bool validate() const;

    /// Moves to the first entry, which is where a new parser starts. Only for a valid block.
    void begin();
    /// Returns the current entry and moves to the next one; null after the last. The entry remains
    /// valid until the next call.
    const Entry* next();

private:
    static constexpr size_t kHeaderWords = 2;  // target, number of entries
    static constexpr size_t kCountWord = 1;

    const Entry* entryAt(size_t word, Entry* entry) const;

    const std::span<const int32_t> mWords;  ///< empty if the block isn't aligned whole words
    size_t mNext = kHeaderWords;
    Entry mEntry{};
};

}  // namespace velora
