#pragma once

#include <utils/Mutex.h>

#if defined(__clang__)
// The static members are defined in one source file per class; the others only use them.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wundefined-var-template"
#endif

namespace android {

/// The only object of a class in the process: created on first use under the singleton's own lock,
/// never destroyed (threads may still use it while the process ends). Any thread may ask for it.
///
/// `T` derives from `Singleton<T>`, makes it a friend, and its source file contains
/// ANDROID_SINGLETON_STATIC_INSTANCE(T).
template <typename T>
class Singleton {
public:
    static T& getInstance() {
        Mutex::Autolock lock(sLock);
        if (sInstance == nullptr) sInstance = new T();
        return *sInstance;
    }

    static bool hasInstance() {
        Mutex::Autolock lock(sLock);
        return sInstance != nullptr;
    }

    Singleton(const Singleton&) = delete;
    Singleton& operator=(const Singleton&) = delete;

protected:
    Singleton() = default;
    ~Singleton() = default;

private:
    static Mutex sLock;
    static T* sInstance GUARDED_BY(sLock);
};

#if defined(__clang__)
#pragma clang diagnostic pop
#endif

// At global scope.
#define ANDROID_SINGLETON_STATIC_INSTANCE(T) \
    namespace android {                      \
    template <>                              \
    Mutex Singleton<T>::sLock{};             \
    template <>                              \
    T* Singleton<T>::sInstance = nullptr;    \
    }

}  // namespace android
