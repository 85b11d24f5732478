#pragma once

#include "host/SdBus.h"
#include "host/daemon/BusClients.h"
#include "host/daemon/UpdateQueue.h"
#include "service/VeloraManagerService.h"

#include <chrono>
#include <cstdint>

namespace velora::host {

/// Runs the service object inside the daemon: bounds the requests that wait for it, sends its
/// notifications to the clients, and saves changes a while after they were made.
///
/// Owned by the daemon's main. Owns the service, its clients and the queue of notifications between
/// them. Used on the bus thread only, which is the one that constructs it and runs the event loop.
/// Errors are thrown as BusError, which the caller of a method receives.
class ServiceHost {
public:
    /// Requests that may wait to be done by the service.
    static constexpr int kMaxPending = 64;

    /// Starts the service. `bus` and `event` must outlive this object. Throws std::system_error.
    ServiceHost(sd_bus* bus, sd_event* event, std::chrono::microseconds saveDelay);
    /// Shuts down, if `shutdown` wasn't called.
    ~ServiceHost();
    ServiceHost(const ServiceHost&) = delete;
    ServiceHost& operator=(const ServiceHost&) = delete;

    android::VeloraManagerService& service() { return *mService; }
    BusClients& clients() { return mClients; }

    /// True once the service has a tuning file and answers queries.
    bool isReady();

    /// Throws BusError unless another request may be queued: not while exiting, while kMaxPending
    /// requests wait, or while a client is behind with reading.
    void checkAcceptsRequest() const;
    /// Counts a request that the service has queued as pending, until its notification arrives.
    void addPending() { ++mPending; }
    /// Sends all queued notifications to their clients.
    void deliverUpdates();

    /// Saves all settings now, and tries again a moment later if they couldn't be stored.
    void save();
    /// Has the service read the extra tuning file again.
    void reload();
    /// Accepts no more requests, and ends the event loop when the pending ones are done. A second
    /// call ends it at once.
    void requestExit();
    /// Ends the service, which drops pending requests and saves all settings. False if they
    /// couldn't be stored.
    [[nodiscard]] bool shutdown() { return mService->shutdown(); }

private:
    class Observer;

    static int onUpdatesQueued(sd_event_source* source, int fd, uint32_t events, void* self);
    static int onSaveTimer(sd_event_source* source, uint64_t now, void* self);

    void observe(const UpdateQueue::Update& update);
    void scheduleSave();

    sd_event* const mEvent;
    const uint64_t mSaveDelay;  ///< microseconds
    UpdateQueue mQueue;
    const android::sp<android::VeloraManagerService> mService;
    BusClients mClients;
    int mPending = 0;
    bool mExiting = false;
    bool mSaveScheduled = false;
    EventSource mUpdatesQueued;
    EventSource mSaveTimer;
};

}  // namespace velora::host
