#pragma once

#include "service/VeloraManagerService.h"

#include <cstdint>

#include <hidl/HidlSupport.h>

namespace android {

/// One registered client: who it is, and how to reach it. Owned by the registry; the death link of
/// its listener refers to it, too. It doesn't keep the service alive. Constant, so any thread may
/// use it.
class VeloraManagerService::NotificationClient : public hardware::hidl_death_recipient {
public:
    /// `listener` may be null: nothing is sent then.
    NotificationClient(const wp<VeloraManagerService>& service, const sp<IKmsCallbacks>& listener,
                       int32_t type, uint32_t key)
        : mType(type), mKey(key), mListener(listener), mService(service) {}

    int32_t type() const { return mType; }
    uint32_t key() const { return mKey; }

    void linkToDeath();
    void unlinkToDeath();

    /// Removes the client from the registry, if the service still exists.
    void serviceDied(uint64_t cookie, const wp<hidl::base::V1_0::IBase>& who) override;

    /// Calls the listener with `size` bytes at `data` (null: none), which aren't copied. A failure
    /// of the transport is logged.
    void onSfxParamUpdate(void* data, uint32_t size);

private:
    const int32_t mType;
    const uint32_t mKey;  ///< uid + type
    const sp<IKmsCallbacks> mListener;
    const wp<VeloraManagerService> mService;
};

}  // namespace android
