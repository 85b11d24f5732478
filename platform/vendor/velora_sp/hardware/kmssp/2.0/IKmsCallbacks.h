#pragma once

#include <cstdint>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

namespace vendor::velora_sp::hardware::kmssp::V2_0 {

/// The callback interface that a client of the service registers to be notified of changes.
class IKmsCallbacks : public android::hidl::base::V1_0::IBase {
public:
    /// Something changed. `data` is empty or one of the service's notification buffers; the caller
    /// owns it and it is valid only during the call.
    ///
    /// Called on the service's threads while the registry of clients is locked. The callback, and
    /// any thread that it waits for, must not register or unregister a client, reload the tuning
    /// file, or report this object's death: each of them would deadlock.
    virtual android::hardware::Return<void> onSfxParamUpdate(
        const android::hardware::hidl_vec<uint8_t>& data) = 0;
};

}  // namespace vendor::velora_sp::hardware::kmssp::V2_0
