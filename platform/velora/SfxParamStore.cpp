#include <utility>

#include <velora/SfxParamStore.h>

namespace velora {

using android::Mutex;

SfxParamCache::Params SfxParamCache::params() const {
    Mutex::Autolock lock(mLock);
    return mParams;
}

int SfxParamStore::setParam(audio_devices_t device, SfxParameterId id, const int32_t* values,
                            uint32_t count) {
    if (values == nullptr && count > 0) return android::BAD_VALUE;

    Mutex::Autolock lock(mLock);
    auto& entry = mDevices[device];
    if (entry == nullptr) entry = std::make_unique<Device>();

    // The cache has a lock of its own, because its readers don't hold the store's.
    {
        Mutex::Autolock cacheLock(entry->staged.mLock);
        entry->staged.mParams[id].assign(values, values + count);
    }
    entry->changed.insert(id);
    return 0;
}

void SfxParamStore::publish(Device& device) {
    Mutex::Autolock stagedLock(device.staged.mLock);
    Mutex::Autolock publishedLock(device.published.mLock);
    for (const SfxParameterId id : device.changed) {
        device.published.mParams[id] = device.staged.mParams[id];
    }
    device.changed.clear();
}

int SfxParamStore::commitChange() {
    std::shared_ptr<const Listener> listener;
    {
        Mutex::Autolock lock(mLock);
        for (const auto& [bits, device] : mDevices) publish(*device);
        listener = mListener;
    }

    if (listener != nullptr) (*listener)();
    return 0;
}

int SfxParamStore::getStoredParams(Caches* out, bool committed, int* count) {
    if (out == nullptr || count == nullptr) return android::BAD_VALUE;

    Mutex::Autolock lock(mLock);
    out->clear();
    for (const auto& [bits, device] : mDevices) {
        out->add(bits, committed ? &device->published : &device->staged);
    }

    *count = static_cast<int>(out->size());
    return 0;
}

void SfxParamStore::setListener(Listener listener) {
    // Declared before the lock, so that the previous listener is destroyed without it.
    auto shared = listener ? std::make_shared<const Listener>(std::move(listener)) : nullptr;
    Mutex::Autolock lock(mLock);
    mListener.swap(shared);
}

}  // namespace velora

ANDROID_SINGLETON_STATIC_INSTANCE(velora::SfxParamStore)
