#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace velora {

/// Reads a client's buffer as 32-bit words in native byte order. The buffer may have any size and
/// alignment; a word that isn't entirely inside it reads as 0. Refers to the buffer, doesn't own
/// it.
class Words {
public:
    static constexpr size_t kSize = sizeof(int32_t);  ///< bytes of one word

    /// `size` bytes at `data`, which must remain valid as long as this is used; null means empty.
    Words(const void* data, size_t size)
        : mBytes(static_cast<const uint8_t*>(data)), mSize(data != nullptr ? size : 0) {}

    size_t size() const { return mSize; }  ///< in bytes

    /// 0 at the end of the buffer and after it.
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

    /// The whole words from index `first` to the end of the buffer.
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
