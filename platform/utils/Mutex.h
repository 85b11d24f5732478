#pragma once

#include <mutex>

// Lock annotations, which clang checks under -Wthread-safety and other compilers ignore.
#if defined(__clang__)
#define THREAD_ANNOTATION_ATTRIBUTE(x) __attribute__((x))
#else
#define THREAD_ANNOTATION_ATTRIBUTE(x)
#endif
#define CAPABILITY(x) THREAD_ANNOTATION_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY THREAD_ANNOTATION_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) THREAD_ANNOTATION_ATTRIBUTE(guarded_by(x))
#define REQUIRES(...) THREAD_ANNOTATION_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) THREAD_ANNOTATION_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) THREAD_ANNOTATION_ATTRIBUTE(release_capability(__VA_ARGS__))

namespace android {

/// A non-recursive lock.
class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { mMutex.lock(); }
    void unlock() RELEASE() { mMutex.unlock(); }

    /// Holds the lock for a scope.
    class SCOPED_CAPABILITY Autolock {
    public:
        explicit Autolock(Mutex& mutex) ACQUIRE(mutex) : mMutex(mutex) { mMutex.lock(); }
        ~Autolock() RELEASE() { mMutex.unlock(); }
        Autolock(const Autolock&) = delete;
        Autolock& operator=(const Autolock&) = delete;

    private:
        Mutex& mMutex;
    };

private:
    std::mutex mMutex;
};

}  // namespace android
