#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>

namespace android {

AHandler::handler_id AHandler::id() const {
    Mutex::Autolock lock(mLock);
    return mId;
}

sp<ALooper> AHandler::looper() const {
    Mutex::Autolock lock(mLock);
    return mLooper.promote();
}

void AHandler::setLooper(handler_id id, const wp<ALooper>& looper) {
    Mutex::Autolock lock(mLock);
    mId = id;
    mLooper = looper;
}

}  // namespace android
