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

/// A thread that delivers messages to their handlers one at a time, in the order posted.
///
/// It is started once and stopped once. The running thread keeps its looper alive, so whoever
/// starts it must stop it. Refers to its handlers weakly. Any thread may call it, the looper's own
/// included.
class ALooper : public RefBase {
public:
    using handler_id = AHandler::handler_id;

    ALooper();

    /// Names the thread that `start` creates; the system shows the first 15 characters.
    void setName(const char* name) { mName = name; }

    /// Makes `handler` a receiver of this looper. Returns its number, unique in the process, or
    /// INVALID_OPERATION if it is registered already.
    handler_id registerHandler(const sp<AHandler>& handler);
    /// The handler receives no further messages, queued ones included; one that is being handled is
    /// completed. An unknown number has no effect.
    void unregisterHandler(handler_id id);

    /// Starts the thread. INVALID_OPERATION for a looper that was started before, and for
    /// `runOnCallingThread`, which isn't supported here. `canCallJava` and `priority` have no
    /// meaning on Linux. NO_MEMORY if the system can't create a thread; the call may be repeated.
    [[nodiscard]] status_t start(bool runOnCallingThread, bool canCallJava,
                                 int32_t priority = PRIORITY_DEFAULT);

    /// Drops the queued messages and ends the thread. Waits for a message that is being handled,
    /// except on the looper's own thread, whose loop ends when that message is done.
    /// INVALID_OPERATION unless running, also while another thread is still in `stop`.
    status_t stop();

protected:
    ~ALooper() override;

private:
    friend class AMessage;

    /// A queued message, with the number that its handler had when it was posted.
    struct Event {
        handler_id id;
        sp<AMessage> message;
    };

    status_t post(handler_id id, const sp<AMessage>& message);
    void loop();
    /// False, without an event, once the looper is stopped.
    bool waitForEvent(Event* event);
    static void deliver(const Event& event);

    enum class State { NEW, RUNNING, STOPPED };

    std::string mName;  ///< set before the thread starts

    std::mutex mLock;  ///< a standard one, for the condition variable; guards what follows
    std::condition_variable mChanged;
    State mState = State::NEW;
    std::deque<Event> mQueue;
    std::map<handler_id, wp<AHandler>> mHandlers;
    std::thread mThread;
};

}  // namespace android
