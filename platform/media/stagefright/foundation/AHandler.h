#pragma once

#include <cstdint>

#include <utils/Mutex.h>
#include <utils/RefBase.h>

namespace android {

class ALooper;
class AMessage;

/// Receives the messages that are posted to it, one at a time, on the thread of the looper that it
/// is registered with. Refers to that looper weakly.
class AHandler : public RefBase {
public:
    using handler_id = int32_t;

    /// The handler's number at its looper; 0 while it is registered with none.
    handler_id id() const;

protected:
    friend class ALooper;
    friend class AMessage;

    virtual void onMessageReceived(const sp<AMessage>& message) = 0;

private:
    /// The looper that queues the handler's messages, and the handler's number there.
    struct Target {
        handler_id id;
        sp<ALooper> looper;
    };

    /// Number 0 and no looper while the handler isn't registered.
    Target target() const;
    /// False if it is registered already.
    bool enter(handler_id id, const wp<ALooper>& looper);
    void leave();

    mutable Mutex mLock;
    handler_id mId GUARDED_BY(mLock) = 0;
    wp<ALooper> mLooper GUARDED_BY(mLock);
};

}  // namespace android
