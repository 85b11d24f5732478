#pragma once

#include "host/Interface.h"

#include <deque>
#include <memory>
#include <span>
#include <thread>

#include <utils/Mutex.h>

namespace velora::host {

/// Hands the service's notifications over to the bus thread, the only one that may use the bus.
///
/// Owned by the ServiceHost; the thread that constructs it is the bus thread. The service notifies
/// the daemon's own observer first and then each client in turn, on one thread at a time: the
/// observer calls `begin` with the data, then each client calls `address`. Both may run on any
/// thread; all other operations belong to the bus thread. The length of the queue is bounded by the
/// number of requests that the ServiceHost accepts.
class UpdateQueue {
public:
    /// Key of the observer, below the keys of all clients.
    static constexpr uint32_t kObserver = 0;

    struct Update {
        uint32_t client;                    ///< key of the client, or kObserver
        std::shared_ptr<const Bytes> data;  ///< shared by all clients of one notification
        bool answersRequest;  ///< a queued request was completed: not sent by the bus thread itself
    };

    /// Throws std::system_error if no file descriptor is available.
    UpdateQueue();
    ~UpdateQueue();
    UpdateQueue(const UpdateQueue&) = delete;
    UpdateQueue& operator=(const UpdateQueue&) = delete;

    /// Starts a notification with a copy of `data` and queues it for the observer.
    void begin(std::span<const uint8_t> data);
    /// Queues the current notification for one client.
    void address(uint32_t client);

    /// File descriptor that is readable while the queue isn't empty.
    int fd() const { return mFd; }
    /// Removes and returns all updates, oldest first.
    [[nodiscard]] std::deque<Update> removeAll();

private:
    void addLocked(uint32_t client) REQUIRES(mLock);

    const int mFd;
    const std::thread::id mBusThread;
    android::Mutex mLock;
    std::shared_ptr<const Bytes> mData GUARDED_BY(mLock);  ///< of the current notification
    std::deque<Update> mUpdates GUARDED_BY(mLock);
};

}  // namespace velora::host
