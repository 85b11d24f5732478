#define LOG_TAG "VeloraManagerService"

#include "service/NotificationClient.h"

#include <log/log.h>

namespace android {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kDiedMessage[] = "binderDied : client uid %d";
constexpr char kCallFailedMessage[] = "Call client failed on %d";

}  // namespace

void VeloraManagerService::NotificationClient::linkToDeath() {
    if (mListener) mListener->linkToDeath(this, 0);
}

void VeloraManagerService::NotificationClient::unlinkToDeath() {
    if (mListener) mListener->unlinkToDeath(this);
}

void VeloraManagerService::NotificationClient::serviceDied(
    uint64_t /*cookie*/, const wp<hidl::base::V1_0::IBase>& /*who*/) {
    const sp<VeloraManagerService> service = mService.promote();
    if (!service) return;
    service->removeNotificationClient(mKey, *this);
    ALOGE(kDiedMessage, static_cast<int32_t>(mKey));
}

void VeloraManagerService::NotificationClient::onSfxParamUpdate(void* data, uint32_t size) {
    if (!mListener) return;

    hardware::hidl_vec<uint8_t> bytes;
    if (data != nullptr) bytes.setToExternal(static_cast<uint8_t*>(data), size);

    const hardware::Return<void> result = mListener->onSfxParamUpdate(bytes);
    if (!result.isOk()) ALOGE(kCallFailedMessage, static_cast<int32_t>(mKey));
}

}  // namespace android
