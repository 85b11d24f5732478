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

/// A thread that delivers messages to handlers, one at a time, in the order in which they were
/// posted.
///
/// A looper can be started and stopped only once. The running thread holds a reference to it, so a
/// looper that is started and never stopped is never destroyed. The looper holds only weak
/// references to its handlers; messages to a destroyed handler are dropped. Any thread may call its
/// functions, including the looper's own thread.
class ALooper : public RefBase {
public:
    using handler_id = AHandler::handler_id;

    ALooper();

    /// Names the thread that `start` creates; the system shows the first 15 bytes. Must be called
    /// before `start`, and not at the same time as any other function.
    void setName(const char* name) { mName = name; }

    /// Lets this looper deliver the messages of `handler`. Returns the handler's id, which is
    /// unique in the process, or INVALID_OPERATION if it is already registered with any looper.
    handler_id registerHandler(const sp<AHandler>& handler);
    /// The handler receives no further messages, not even queued ones. A message that is being
    /// handled is completed; this call doesn't wait for that. An unknown id has no effect.
    void unregisterHandler(handler_id id);

    /// Starts the thread. Returns INVALID_OPERATION if the looper was started before, or if
    /// `runOnCallingThread` is true, which is not supported. `canCallJava` and `priority` are
    /// ignored. Returns NO_MEMORY if the system can't create a thread; the looper is then not
    /// started, and `start` may be called again.
    [[nodiscard]] status_t start(bool runOnCallingThread, bool canCallJava,
                                 int32_t priority = PRIORITY_DEFAULT);

    /// Drops the queued messages and ends the thread. Called on another thread, it waits until the
    /// current message has been handled. Called on the looper's own thread, it returns at once, and
    /// the thread ends after the current message. Returns INVALID_OPERATION if the looper isn't
    /// running, which includes the time while another thread is inside `stop`.
    status_t stop();

protected:
    ~ALooper() override;

private:
    friend class AMessage;

    /// A queued message, and the id of its handler when it was posted.
    struct Event {
        handler_id id;
        sp<AMessage> message;
    };

    /// Queues a message, also before `start`. Returns NAME_NOT_FOUND if the looper is stopped.
    status_t post(handler_id id, const sp<AMessage>& message);
    void loop();
    /// Waits for a message and puts it into `*event`. Returns false, and leaves `*event` unchanged,
    /// once the looper is stopped.
    bool waitForEvent(Event* event);
    static void deliver(const Event& event);

    enum class State { NEW, RUNNING, STOPPED };

    std::string mName;  ///< set before the thread starts

    // std::mutex, because std::condition_variable requires it. Guards the members below.
    std::mutex mLock;
    std::condition_variable mChanged;
    State mState = State::NEW;
    std::deque<Event> mQueue;
    std::map<handler_id, wp<AHandler>> mHandlers;
    std::thread mThread;
};

}  // namespace android
