#pragma once

#include "service/Protocol.h"
#include "service/VeloraManagerService.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/Condition.h>
#include <utils/Errors.h>
#include <utils/Mutex.h>

namespace android {

class ABuffer;

/// Executes the service's state changes one at a time, in the order posted, on a looper thread of
/// its own, and notifies every client after each.
///
/// Owned by the service, which it doesn't keep alive: a message that is delivered while the service
/// is being destroyed is dropped. Owns the looper. Any thread may call `sendMessage`.
class VeloraManagerService::EventHandler : public AHandler {
public:
    /// What a message asks for.
    enum What : uint32_t {
        /// "buffer": the notice for the clients.
        REGISTRATION_CHANGED = velora::fourCharacters("regc"),
        /// A client's request. "buffer": the device name, "port": its port.
        SET_SELECTED_TUNING = velora::fourCharacters("sett"),
        /// A client's request. "buffer": a command, see velora::SetRequest.
        SET_PARAM = velora::fourCharacters("setp"),
        /// Saves the settings, for `saveAfterQueued`. Nobody is notified.
        SAVE = velora::fourCharacters("save"),
    };

    /// Creates the looper; it doesn't run yet. `manager` must live as long as `owner`.
    EventHandler(velora::SndManager* manager, VeloraManagerService* owner);

    /// Registers the handler with its looper and starts the thread.
    void start();
    /// Drops what is queued and ends the thread. Waits for the message that is being handled,
    /// unless called on the looper thread.
    void stop();

    /// Queues a message with a copy of `size` bytes at `data`, and with a port. Returns 0; -12 for
    /// a client's request while kMaxQueuedRequests of them wait; -19 after `stop`.
    [[nodiscard]] status_t sendMessage(const void* data, uint32_t size, uint32_t what);
    [[nodiscard]] status_t sendMessage(const void* data, uint32_t size, int32_t port,
                                       uint32_t what);

    /// Saves the settings when everything that is queued has been executed. Returns when that is
    /// done, or at once after `stop`. Must not be called on the looper thread.
    void saveAfterQueued();

protected:
    void onMessageReceived(const sp<AMessage>& message) override;

private:
    struct SetCommand;
    static const SetCommand kSetCommands[];

    sp<AMessage> makeMessage(const void* data, uint32_t size, uint32_t what);
    [[nodiscard]] status_t post(const sp<AMessage>& message);
    /// True for what a client asks for: only the number of these is bounded.
    static bool isRequest(uint32_t what);
    /// Saves the settings for the first `saveAfterQueued` that still waits.
    void save(VeloraManagerService& owner);
    void setSelectedTuning(const AMessage& message, const sp<ABuffer>& buffer);
    /// Executes the command in `size` bytes at `data` and writes its result word there. A buffer
    /// without room for a first argument, and an unknown command, change nothing.
    void parseAndSendParam(void* data, size_t size);

    const sp<ALooper> mLooper;
    velora::SndManager* const mSndManager;
    const wp<VeloraManagerService> mOwner;
    std::atomic<int> mWaiting{0};  ///< requests that are queued and not yet begun

    Mutex mSaveLock;
    Condition mSaveDone;
    // Numbers of the saves for `saveAfterQueued`, which are done in their order.
    uint64_t mSavesPosted GUARDED_BY(mSaveLock) = 0;
    uint64_t mSavesDone GUARDED_BY(mSaveLock) = 0;
    bool mStopped GUARDED_BY(mSaveLock) = false;
};

}  // namespace android
