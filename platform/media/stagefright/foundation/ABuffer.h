#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <utils/RefBase.h>

namespace android {

/// A block of bytes of fixed capacity, of which a range is in use. Shared by reference; no other
/// thread may use it while one writes to it.
class ABuffer : public RefBase {
public:
    /// Zero-filled, all of it in use.
    explicit ABuffer(size_t capacity)
        : mBytes(std::make_unique<uint8_t[]>(capacity)), mSize(capacity) {}

    uint8_t* data() const { return mBytes.get() + mOffset; }
    size_t size() const { return mSize; }

    /// Sets the range in use, in bytes. It must lie within the capacity.
    void setRange(size_t offset, size_t size) {
        mOffset = offset;
        mSize = size;
    }

private:
    const std::unique_ptr<uint8_t[]> mBytes;
    size_t mOffset = 0;
    size_t mSize;
};

}  // namespace android
