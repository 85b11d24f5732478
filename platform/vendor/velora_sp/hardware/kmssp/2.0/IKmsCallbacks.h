#pragma once

#include <cstdint>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

namespace vendor::velora_sp::hardware::kmssp::V2_0 {

/// What a client of the service gives to be told of changes.
class IKmsCallbacks : public android::hidl::base::V1_0::IBase {
public:
    /// Something changed. `data` belongs to the caller and stands only during the call; it is
    /// empty, or one of the service's notification buffers. Called from the service's threads with
    /// its registry locked: from inside, and from a thread that it waits for, neither register or
    /// unregister, nor reload the tuning file, nor report this object's death.
    virtual android::hardware::Return<void> onSfxParamUpdate(
        const android::hardware::hidl_vec<uint8_t>& data) = 0;
};

}  // namespace vendor::velora_sp::hardware::kmssp::V2_0
