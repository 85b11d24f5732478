#pragma once

#include <utils/Mutex.h>

#if defined(__clang__)
// The static members are defined in one source file per class; every other one only uses them.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wundefined-var-template"
#endif

namespace android {

/// The one object of a class in the process: made on first use under the singleton's own lock,
/// never destroyed (threads may still use it while the process ends). `T` derives from
/// `Singleton<T>`, befriends it and names ANDROID_SINGLETON_STATIC_INSTANCE(T) in its source file.
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
