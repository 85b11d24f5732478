#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include <system/audio.h>
#include <utils/Errors.h>
#include <utils/KeyedVector.h>
#include <utils/Mutex.h>
#include <utils/Singleton.h>
#include <velora/EffectParamParser.h>

namespace velora {

/// The parameters of one device as the store holds them. Owned by the store and never destroyed.
/// Any thread may read it while the store changes.
class SfxParamCache {
public:
    using Params = std::map<SfxParameterId, std::vector<int32_t>>;

    /// A copy of all parameters at this moment.
    Params params() const;

private:
    friend class SfxParamStore;

    mutable android::Mutex mLock;
    Params mParams GUARDED_BY(mLock);
};

/// The process-wide store of effect parameters, from which the audio effect takes them.
///
/// A parameter is staged first and published, with all that were staged, by a commit. Any thread.
class SfxParamStore : public android::Singleton<SfxParamStore> {
public:
    using Listener = std::function<void()>;
    using Caches = android::KeyedVector<audio_devices_t, SfxParamCache*>;

    /// Stages `count` values (copied) of parameter `id` on `device`. 0, or -22 for null values with
    /// a count.
    int setParam(audio_devices_t device, SfxParameterId id, const int32_t* values, uint32_t count);

    /// Publishes what was staged since the last commit and then tells the listener. Always 0.
    int commitChange();

    /// Fills `out` (replaced) with one cache per device, `committed`: as published, else as staged
    /// on top of that; `count` with their number. The caches are the store's. 0, or -22 for null.
    int getStoredParams(Caches* out, bool committed, int* count);

    /// `listener` is called after every commit, on the thread that commits, with no lock held; null
    /// for none. It must only hand the change on. One that is being called may still be running
    /// when this returns.
    void setListener(Listener listener);

private:
    friend class android::Singleton<SfxParamStore>;

    struct Device {
        SfxParamCache staged;
        SfxParamCache published;
        std::set<SfxParameterId>
            changed;  ///< staged since the last commit: all that it has to copy
    };

    static void publish(Device& device);

    android::Mutex mLock;
    std::map<audio_devices_t, std::unique_ptr<Device>> mDevices GUARDED_BY(mLock);
    std::shared_ptr<const Listener> mListener GUARDED_BY(mLock);
};

}  // namespace velora
