#pragma once

#include "host/SdBus.h"
#include "host/daemon/BusClients.h"
#include "host/daemon/CallQueue.h"
#include "host/daemon/UpdateQueue.h"
#include "host/daemon/Worker.h"
#include "service/VeloraManagerService.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>

namespace velora::host {

/// Runs the service object inside the daemon: bounds the requests that wait for it, sends its
/// notifications to the clients, and saves changes a while after they were made.
///
/// Owned by the daemon's main. Owns the service, its clients, the calls that wait, the worker and
/// the queue from other threads. Used on the bus thread only, which is the one that constructs it
/// and runs the event loop. That thread never waits for the disk: what may do so is done by the
/// worker. Errors are thrown as BusError, which the caller of a method receives.
class ServiceHost {
public:
    /// Requests that may wait to be done by the service.
    static constexpr int kMaxPending = 64;

    /// Nothing is read or served before `start`. `bus` and `event` must outlive this object. Throws
    /// std::system_error.
    ServiceHost(sd_bus* bus, sd_event* event, std::chrono::microseconds saveDelay);
    /// Shuts down, if `shutdown` wasn't called.
    ~ServiceHost();
    ServiceHost(const ServiceHost&) = delete;
    ServiceHost& operator=(const ServiceHost&) = delete;

    /// Starts the service, and calls `onStarted` when it has opened its store. Calls that arrive
    /// before that wait for it.
    void start(const UpdateQueue::Completion& onStarted);

    android::VeloraManagerService& service() { return *mService; }
    BusClients& clients() { return mClients; }

    /// True once the service has a tuning file and answers queries.
    bool isReady();

    CallQueue& calls() { return mCalls; }

    /// Throws unless a request of so many bytes may be queued: BusError while exiting, and the
    /// std::system_error EAGAIN while kMaxPending requests wait, or while the updates that are to
    /// come are more than a client may leave unread.
    void checkAcceptsRequest(size_t size) const;
    /// Counts a request of so many bytes that the service has queued as pending, until its
    /// notification arrives.
    void addPending(size_t size);
    /// Passes `work` to the worker, and answers the call that is being handled when it is done.
    void answerAfter(Worker::Work work);

    /// Lets the service read the extra tuning file again, and then calls `onDone`. Requests that
    /// come before it begins are answered together.
    void reload(UpdateQueue::Completion onDone);
    /// Saves all settings, and tries again a moment later if they couldn't be stored.
    void save();
    /// Accepts no more requests, and ends the event loop when the pending ones are done. A second
    /// call ends it at once.
    void requestExit();
    /// Ends the service, which drops pending requests and saves all settings. False if they
    /// couldn't be stored. Waits for the disk unless the event loop has ended by itself.
    [[nodiscard]] bool shutdown();

private:
    class Observer;
    struct Reload;

    static int onTurn(sd_event_source* source, void* self);
    static int onSaveTimer(sd_event_source* source, uint64_t now, void* self);

    void turn();
    bool deliverNext();
    void observe(const UpdateQueue::Update& update);
    void scheduleSave();
    void onSaved(bool isSaved);
    void endIfDone();

    sd_event* const mEvent;
    const uint64_t mSaveDelay;  ///< microseconds
    UpdateQueue mQueue;
    const android::sp<android::VeloraManagerService> mService;
    CallQueue mCalls;
    BusClients mClients;
    Worker mWorker;
    std::deque<UpdateQueue::Item> mUndelivered;
    std::shared_ptr<Reload> mReload;  ///< the last one
    int mPending = 0;
    size_t mPendingBytes = 0;  ///< of their updates to one client, with the overhead
    bool mHasStarted = false;
    bool mIsExiting = false;
    bool mIsEnding = false;
    bool mIsSaving = false;
    bool mSaveScheduled = false;
    EventSource mQueueFilled;
    EventSource mTurn;   ///< follows every other event
    EventSource mAgain;  ///< causes another turn at once
    EventSource mSaveTimer;
};

}  // namespace velora::host
