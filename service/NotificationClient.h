#pragma once

#include "service/VeloraManagerService.h"

#include <cstdint>

#include <hidl/HidlSupport.h>

namespace android {

/// One registered client: who it is, and how to reach it. Held by the registry and, weakly, by the
/// death link of its listener. Constant, so any thread may use it.
class VeloraManagerService::NotificationClient : public hardware::hidl_death_recipient {
public:
    NotificationClient(const wp<VeloraManagerService>& service, const sp<IKmsCallbacks>& listener,
                       int32_t type, uint32_t key)
        : mType(type), mKey(key), mListener(listener), mService(service) {}

    int32_t type() const { return mType; }
    uint32_t key() const { return mKey; }

    void linkToDeath();
    void unlinkToDeath();

    /// Takes the client out of the registry of the service, if that still stands.
    void serviceDied(uint64_t cookie, const wp<hidl::base::V1_0::IBase>& who) override;

    /// Gives the client a byte vector that wraps `size` bytes at `data` (null: an empty one) for
    /// the time of the call. A failure of the transport is logged.
    void onSfxParamUpdate(void* data, uint32_t size);

private:
    const int32_t mType;
    const uint32_t mKey;  ///< uid + type
    const sp<IKmsCallbacks> mListener;
    const wp<VeloraManagerService> mService;
};

}  // namespace android
