#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include <utils/RefBase.h>

namespace android::hidl::base::V1_0 {
class IBase;
}

namespace android::hardware {

/// Is notified when the process of a remote object that it is linked to has died.
class hidl_death_recipient : public virtual RefBase {
public:
    /// `cookie` is the one given when linking. Called on any thread, without a lock of `who` held.
    virtual void serviceDied(uint64_t cookie, const wp<android::hidl::base::V1_0::IBase>& who) = 0;
};

/// An array that owns its items, or refers to the caller's for the duration of a call. A copy
/// always owns its items.
template <typename T>
class hidl_vec {
public:
    hidl_vec() = default;
    hidl_vec(const hidl_vec& other) { *this = other; }
    ~hidl_vec() = default;

    hidl_vec& operator=(const hidl_vec& other) {
        if (this == &other) return *this;
        mOwned = std::make_unique<T[]>(other.mSize);
        std::copy(other.begin(), other.end(), mOwned.get());
        mData = mOwned.get();
        mSize = other.mSize;
        return *this;
    }

    /// Refers to `size` items at `data`, which must remain valid as long as this is used.
    void setToExternal(T* data, size_t size) {
        mOwned.reset();
        mData = data;
        mSize = size;
    }

    const T* data() const { return mData; }
    size_t size() const { return mSize; }
    const T* begin() const { return mData; }
    const T* end() const { return mData + mSize; }
    const T& operator[](size_t index) const { return mData[index]; }

private:
    std::unique_ptr<T[]> mOwned;
    T* mData = nullptr;
    size_t mSize = 0;
};

}  // namespace android::hardware
