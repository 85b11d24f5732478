#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include <system/audio.h>
#include <utils/KeyedVector.h>
#include <utils/Mutex.h>
#include <utils/Singleton.h>
#include <velora/EffectParamParser.h>

namespace velora {

/// The parameters of one output device. Owned by the store and never destroyed; any thread may read
/// it while the store changes it.
class SfxParamCache {
public:
    using Params = std::map<SfxParameterId, std::vector<int32_t>>;

    /// A copy of the current parameters.
    Params params() const;

private:
    friend class SfxParamStore;

    mutable android::Mutex mLock;
    Params mParams GUARDED_BY(mLock);
};

/// The process-wide store of effect parameters, from which the audio effect reads them.
///
/// Parameters are staged one by one, and a commit publishes all of them together. Any thread may
/// call it.
class SfxParamStore : public android::Singleton<SfxParamStore> {
public:
    using Listener = std::function<void()>;
    using Caches = android::KeyedVector<audio_devices_t, SfxParamCache*>;

    /// Stages a copy of `count` values of parameter `id` for an output device. 0, or BAD_VALUE if
    /// `values` is null and `count` isn't 0.
    int setParam(audio_devices_t device, SfxParameterId id, const int32_t* values, uint32_t count);

    /// Publishes everything staged since the last commit, then notifies the listener. Always 0.
    int commitChange();

    /// Replaces the contents of `out` by one cache per output device, which the store owns: the
    /// published parameters if `committed`, else these with the staged ones over them. Sets `count`
    /// to the number of caches. 0, or BAD_VALUE if `out` or `count` is null.
    int getStoredParams(Caches* out, bool committed, int* count);

    /// Replaces the listener, which is called after every commit, on the committing thread and
    /// without a lock of the store; null for none. It must only pass the change on, because that
    /// thread may hold locks of the service. A call of the previous listener may still be running
    /// when this returns.
    void setListener(Listener listener);

private:
    friend class android::Singleton<SfxParamStore>;

    struct Device {
        SfxParamCache staged;
        SfxParamCache published;
        std::set<SfxParameterId> changed;  ///< staged since the last commit
    };

    static void publish(Device& device);

    android::Mutex mLock;
    std::map<audio_devices_t, std::unique_ptr<Device>> mDevices GUARDED_BY(mLock);
    std::shared_ptr<const Listener> mListener GUARDED_BY(mLock);
};

}  // namespace velora
