#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include <media/stagefright/foundation/AHandler.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/ThreadDefs.h>

namespace android {

/// A thread that hands messages to their handlers one at a time, in the order posted.
///
/// Life: made, `start`ed once, `stop`ped once. The running thread keeps its looper alive, so an
/// owner that started it must stop it. All operations may be called from any thread, the looper's
/// included.
class ALooper : public RefBase {
public:
    using handler_id = AHandler::handler_id;

    ALooper();

    /// Names the thread to come; the system shows the first 15 characters.
    void setName(const char* name) { mName = name; }

    /// Makes `handler` a receiver of this looper. Returns its number, unique in the process, or
    /// INVALID_OPERATION if it is registered already. The looper doesn't keep its handlers alive.
    handler_id registerHandler(const sp<AHandler>& handler);
    /// The handler gets no further messages, queued ones included; one that is being handled goes
    /// on. An unknown number changes nothing.
    void unregisterHandler(handler_id id);

    /// Starts the thread. Only a thread of the looper's own is offered: INVALID_OPERATION for
    /// `runOnCallingThread`, and for a looper that was started before. The other two are hints that
    /// a Linux thread has no use for. NO_MEMORY when the system gives no thread: it may be tried
    /// again.
    status_t start(bool runOnCallingThread, bool canCallJava, int32_t priority = PRIORITY_DEFAULT);

    /// Drops what is queued and ends the thread: waits for a message that is being handled, except
    /// on the looper's own thread, where the loop ends after it. INVALID_OPERATION unless running,
    /// also while another thread's stop is still waiting.
    status_t stop();

protected:
    ~ALooper() override;

private:
    friend class AMessage;

    /// A message, and the number that its handler had when it was posted.
    struct Event {
        handler_id id;
        sp<AMessage> message;
    };

    status_t post(handler_id id, const sp<AMessage>& message);
    void loop();
    bool waitForEvent(Event* event);
    void deliver(const Event& event);

    enum class State { kNew, kRunning, kStopped };

    std::string mName;
    std::mutex mLock;
    // Guarded by mLock; a condition variable needs the standard lock, which carries no annotations.
    std::condition_variable mChanged;
    State mState = State::kNew;
    std::deque<Event> mQueue;
    std::map<handler_id, wp<AHandler>> mHandlers;
    std::thread mThread;
};

}  // namespace android
