#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace android {

/// Base of every object that `sp` owns and `wp` refers to.
///
/// The object deletes itself when its last `sp` is released. A `wp` may outlive it, and can be
/// promoted only while a strong reference exists (or before the first one is acquired).
/// Any thread may acquire and release references. A class that may inherit it twice must derive
/// from it virtually.
class RefBase {
public:
    /// The two counts of one object. They outlive it until its last `wp` is destroyed.
    class Counts;

    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

    void incStrong() const;
    void decStrong() const;
    Counts* counts() const { return mCounts; }

protected:
    RefBase();
    virtual ~RefBase();

    /// Called once, by the thread that acquires the first strong reference. Must not throw.
    virtual void onFirstRef() {}

private:
    Counts* const mCounts;
};

class RefBase::Counts {
public:
    explicit Counts(const RefBase* object) : mObject(object) {}

    void incStrong();
    void decStrong();
    /// Acquires a strong reference, unless the last one was released: then false.
    bool tryIncStrong();
    void incWeak() { mWeak.fetch_add(1, std::memory_order_relaxed); }
    void decWeak();

private:
    friend class RefBase;
    /// The initial strong count: distinguishes an object without a strong reference so far, which a
    /// `wp` made in its constructor may promote, from one whose last was released (count 0). Far
    /// above any number of references.
    static constexpr int32_t kNeverReferenced = 1 << 28;

    void startLife(int32_t strongBefore);

    const RefBase* const mObject;
    std::atomic<int32_t> mStrong{kNeverReferenced};
    std::atomic<int32_t> mWeak{1};  // one is the object's own
};

/// Strong reference: a pointer that keeps its object alive. Any number of threads may refer to an
/// object, each through an `sp` of its own.
template <typename T>
class sp {
public:
    sp() = default;
    sp(std::nullptr_t) {}
    sp(T* object) : mObject(object) { acquire(); }
    sp(const sp& other) : mObject(other.mObject) { acquire(); }
    sp(sp&& other) noexcept : mObject(std::exchange(other.mObject, nullptr)) {}
    template <typename U>
    sp(const sp<U>& other) : mObject(other.get()) {
        acquire();
    }
    ~sp() {
        if (mObject != nullptr) mObject->decStrong();
    }

    sp& operator=(sp other) noexcept {
        std::swap(mObject, other.mObject);
        return *this;
    }

    template <typename... Args>
    static sp make(Args&&... args) {
        return sp(new T(std::forward<Args>(args)...));
    }

    T* get() const { return mObject; }
    T& operator*() const { return *mObject; }
    T* operator->() const { return mObject; }
    explicit operator bool() const { return mObject != nullptr; }
    void clear() { *this = sp(); }

    friend bool operator==(const sp& a, const sp& b) { return a.mObject == b.mObject; }
    friend bool operator==(const sp& a, const T* b) { return a.mObject == b; }
    friend bool operator==(const sp& a, std::nullptr_t) { return a.mObject == nullptr; }

private:
    template <typename U>
    friend class wp;

    void acquire() {
        if (mObject != nullptr) mObject->incStrong();
    }

    T* mObject = nullptr;
};

/// Weak reference: refers to an object without keeping it alive; `promote` returns a strong one.
template <typename T>
class wp {
public:
    wp() = default;
    wp(T* object) : mObject(object), mCounts(object ? object->counts() : nullptr) { acquire(); }
    wp(const sp<T>& object) : wp(object.get()) {}
    wp(const wp& other) : mObject(other.mObject), mCounts(other.mCounts) { acquire(); }
    wp(wp&& other) noexcept
        : mObject(std::exchange(other.mObject, nullptr)),
          mCounts(std::exchange(other.mCounts, nullptr)) {}
    ~wp() {
        if (mCounts != nullptr) mCounts->decWeak();
    }

    wp& operator=(wp other) noexcept {
        std::swap(mObject, other.mObject);
        std::swap(mCounts, other.mCounts);
        return *this;
    }

    /// The object, or null if its last strong reference was released.
    sp<T> promote() const {
        sp<T> strong;
        if (mCounts != nullptr && mCounts->tryIncStrong()) strong.mObject = mObject;
        return strong;
    }

    /// Whether both refer to the same object, even a destroyed one: its counts are not freed while
    /// a `wp` refers to them, so their address is unique.
    friend bool operator==(const wp& a, const wp& b) { return a.mCounts == b.mCounts; }

private:
    void acquire() {
        if (mCounts != nullptr) mCounts->incWeak();
    }

    T* mObject = nullptr;
    RefBase::Counts* mCounts = nullptr;
};

}  // namespace android
