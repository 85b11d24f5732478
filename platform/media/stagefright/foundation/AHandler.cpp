#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>

namespace android {

AHandler::handler_id AHandler::id() const {
    Mutex::Autolock lock(mLock);
    return mId;
}

AHandler::Target AHandler::target() const {
    Mutex::Autolock lock(mLock);
    return {mId, mLooper.promote()};
}

bool AHandler::enter(handler_id id, const wp<ALooper>& looper) {
    Mutex::Autolock lock(mLock);
    if (mId != 0) return false;
    mId = id;
    mLooper = looper;
    return true;
}

void AHandler::leave() {
    Mutex::Autolock lock(mLock);
    mId = 0;
    mLooper = nullptr;
}

}  // namespace android
