#pragma once

#include "service/Protocol.h"
#include "service/VeloraManagerService.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

namespace android {

class ABuffer;

/// Does the service's state changes one at a time, in the order posted, on a looper thread of its
/// own, and tells every client after each.
///
/// Held by the service, which it doesn't keep alive: a message that finds the service going is
/// dropped. `sendMessage` may be called on any thread.
class VeloraManagerService::EventHandler : public AHandler {
public:
    /// What a message asks for.
    enum What : uint32_t {
        kRegistrationChanged =
            velora::fourCharacters("regc"),  ///< "buffer": the notice for the clients
        kSetSelectedTuning = velora::fourCharacters("sett"),  ///< "buffer": device name, "port"
        kSetParam = velora::fourCharacters("setp"),           ///< "buffer": a command
    };

    /// Makes the looper; it doesn't run yet. `manager` must stand as long as `owner`.
    EventHandler(velora::SndManager* manager, VeloraManagerService* owner);

    /// Registers the handler with its looper and starts the thread.
    void start();
    /// Drops what is queued and ends the thread, waiting for the message at hand unless called on
    /// the looper thread.
    void stop();

    /// Queues a message with a copy of `size` bytes at `data`.
    void sendMessage(const void* data, uint32_t size, uint32_t what);
    /// The same for what a client asks for, with a port. 0, or -12 while too many of these wait.
    int sendRequest(const void* data, uint32_t size, int32_t port, uint32_t what);

protected:
    void onMessageReceived(const sp<AMessage>& message) override;

private:
    struct SetCommand;
    static const SetCommand kSetCommands[];

    sp<AMessage> makeMessage(const void* data, uint32_t size, uint32_t what);
    void setSelectedTuning(const AMessage& message, const sp<ABuffer>& buffer);
    /// Does the command in `size` bytes at `data` and writes its result word there. A buffer
    /// without room for a first argument, and an unknown command, do nothing.
    void parseAndSendParam(void* data, size_t size);

    const sp<ALooper> mLooper;
    velora::SndManager* const mSndManager;
    const wp<VeloraManagerService> mOwner;
    std::atomic<int> mWaiting{0};  ///< requests that were queued and not yet begun
};

}  // namespace android
