#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace android {

/// Base of every object that is held by `sp` and watched by `wp`.
///
/// The object deletes itself when its last `sp` goes; a `wp` outlives it and can be promoted only
/// while a strong reference stands (or before the first one is taken).
/// Any thread may take and drop references. Derive virtually where the base may come twice.
class RefBase {
public:
    /// The two counts of one object. Outlives the object until the last `wp` has gone.
    class Counts;

    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

    void incStrong() const;
    void decStrong() const;
    Counts* counts() const { return mCounts; }

protected:
    RefBase();
    virtual ~RefBase();

    /// Called once, by the thread that takes the first strong reference. Must not throw.
    virtual void onFirstRef() {}

private:
    Counts* const mCounts;
};

class RefBase::Counts {
public:
    explicit Counts(const RefBase* object) : mObject(object) {}

    void incStrong();
    void decStrong();
    /// Takes a strong reference unless the last one has gone; tells whether it did.
    bool tryIncStrong();
    void incWeak() { mWeak.fetch_add(1, std::memory_order_relaxed); }
    void decWeak();

private:
    friend class RefBase;
    // Until the first strong reference is taken the count stands here, so that a `wp` made in a
    // constructor can be promoted while a dead object's (count 0) can't.
    static constexpr int32_t kNeverReferenced = 1 << 28;

    void startLife(int32_t strongBefore);

    const RefBase* const mObject;
    std::atomic<int32_t> mStrong{kNeverReferenced};
    std::atomic<int32_t> mWeak{1};  // one is the object's own
};

/// Strong reference: a pointer that keeps its object alive. As safe to share as a plain pointer:
/// one `sp` belongs to one thread at a time, the object may be shared.
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

/// Weak reference: knows its object without keeping it alive; `promote` asks for it.
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

    /// The object, or null when its last strong reference has gone.
    sp<T> promote() const {
        sp<T> strong;
        if (mCounts != nullptr && mCounts->tryIncStrong()) strong.mObject = mObject;
        return strong;
    }

    /// Same object? Holds also when it is gone: counts are never reused while a `wp` stands.
    friend bool operator==(const wp& a, const wp& b) { return a.mCounts == b.mCounts; }

private:
    void acquire() {
        if (mCounts != nullptr) mCounts->incWeak();
    }

    T* mObject = nullptr;
    RefBase::Counts* mCounts = nullptr;
};

}  // namespace android
