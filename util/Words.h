#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace velora {

/// A client's buffer read as 32-bit words in native order, copied one by one: the buffer may have
/// any size and alignment, and a word that doesn't lie within it whole reads as 0.
class Words {
public:
    static constexpr size_t kSize = sizeof(int32_t);

    /// `data` must stand as long as this; null counts as empty.
    Words(const void* data, size_t size)
        : mBytes(static_cast<const uint8_t*>(data)), mSize(data != nullptr ? size : 0) {}

    size_t size() const { return mSize; }  ///< bytes

    uint8_t byteAt(size_t offset) const { return offset < mSize ? mBytes[offset] : uint8_t{0}; }

    int32_t operator[](size_t index) const {
        int32_t word = 0;
        if ((index + 1) * kSize <= mSize) memcpy(&word, mBytes + index * kSize, kSize);
        return word;
    }

    /// The big-endian number in the word at `index`.
    uint32_t bigEndianAt(size_t index) const {
        uint32_t number = 0;
        for (size_t i = 0; i < kSize; ++i) number = number << 8 | byteAt(index * kSize + i);
        return number;
    }

    /// The whole words from `first` to the end.
    std::vector<int> from(size_t first) const {
        std::vector<int> words;
        for (size_t i = first; (i + 1) * kSize <= mSize; ++i) words.push_back((*this)[i]);
        return words;
    }

private:
    const uint8_t* const mBytes;
    const size_t mSize;
};

}  // namespace velora
