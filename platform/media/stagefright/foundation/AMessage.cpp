#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

namespace android {

bool AMessage::findInt32(const std::string& name, int32_t* value) const {
    const auto entry = mInts.find(name);
    if (entry == mInts.end()) return false;
    *value = entry->second;
    return true;
}

bool AMessage::findBuffer(const std::string& name, sp<ABuffer>* buffer) const {
    const auto entry = mBuffers.find(name);
    if (entry == mBuffers.end()) return false;
    *buffer = entry->second;
    return true;
}

status_t AMessage::post() {
    const sp<AHandler> handler = mHandler.promote();
    if (!handler) return NAME_NOT_FOUND;
    const AHandler::Target target = handler->target();
    return target.looper ? target.looper->post(target.id, this) : status_t{NAME_NOT_FOUND};
}

}  // namespace android
