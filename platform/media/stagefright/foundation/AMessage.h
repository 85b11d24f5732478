#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandler.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

namespace android {

/// A message to a handler: its kind (`what`) and named entries. Filled by one thread, then posted:
/// the handler's looper delivers it on its own thread. Refers to the handler weakly.
class AMessage : public RefBase {
public:
    AMessage(uint32_t what, const sp<AHandler>& handler) : mWhat(what), mHandler(handler) {}

    uint32_t what() const { return mWhat; }

    void setInt32(const std::string& name, int32_t value) { mInts[name] = value; }
    void setBuffer(const std::string& name, const sp<ABuffer>& buffer) { mBuffers[name] = buffer; }
    /// False, and the output unchanged, if the message has no such entry.
    bool findInt32(const std::string& name, int32_t* value) const;
    bool findBuffer(const std::string& name, sp<ABuffer>* buffer) const;

    /// Queues the message at the handler's looper. NAME_NOT_FOUND, and the message dropped, if the
    /// handler was destroyed or isn't registered, or if its looper was destroyed or stopped.
    [[nodiscard]] status_t post();

private:
    friend class ALooper;

    const uint32_t mWhat;
    const wp<AHandler> mHandler;
    std::map<std::string, int32_t> mInts;
    std::map<std::string, sp<ABuffer>> mBuffers;
};

}  // namespace android
