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
/// The block is 32-bit words in native order: target, number of entries, then the entries, each
/// device, parameter number, count of values, values. It stays the caller's and must stand while
/// the parser and the entries that it gave are used. One thread at a time.
class EffectParamParser {
public:
    struct Entry {
        audio_devices_t device;
        SfxParameterId id;
        const int32_t* values;  ///< inside the block
        uint32_t count;
    };

    EffectParamParser(const void* data, uint32_t size);

    /// True if the block's words are exactly its entries: aligned whole words, no entry cut short,
    /// none missing, nothing behind the last.
    bool validate() const;

    /// Goes to the first entry, where a new parser stands. Only after `validate` said true.
    void begin();
    /// The entry at hand, then goes on; null behind the last. The entry stands until the next call.
    const Entry* next();

private:
    static constexpr size_t kHeaderWords = 2;  // target, number of entries

    const Entry* entryAt(size_t word, Entry* entry) const;

    const std::span<const int32_t> mWords;  ///< empty for a block that isn't whole aligned words
    size_t mNext = kHeaderWords;
    Entry mEntry{};
};

}  // namespace velora
