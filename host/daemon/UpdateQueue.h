#pragma once

#include "host/Interface.h"

#include <deque>
#include <memory>
#include <span>
#include <thread>

#include <utils/Mutex.h>

namespace velora::host {

/// Hands the service's notifications over to the thread that made the queue, the only one that
/// talks to the bus.
///
/// The service tells the host's own observer first and then each client in turn: the observer
/// `begin`s an update, each client `address`es it. What waits is bounded by the requests that the
/// host lets wait. `begin` and `address` may be called on any thread, one update at a time; the
/// rest is the owner's.
class UpdateQueue {
public:
    /// Number of the observer, below those of all clients.
    static constexpr uint32_t kObserver = 0;

    struct Update {
        uint32_t client;
        std::shared_ptr<const Bytes> data;
        bool requested;  ///< comes from the service's own thread: a queued request was done
    };

    /// Throws std::system_error if the system has no descriptor for it.
    UpdateQueue();
    ~UpdateQueue();
    UpdateQueue(const UpdateQueue&) = delete;
    UpdateQueue& operator=(const UpdateQueue&) = delete;

    void begin(std::span<const uint8_t> data);
    void address(uint32_t client);

    /// Readable while updates wait.
    int fd() const { return mFd; }
    /// Takes all that waits.
    std::deque<Update> take();

private:
    void addLocked(uint32_t client) REQUIRES(mLock);

    const int mFd;
    const std::thread::id mOwner;
    android::Mutex mLock;
    std::shared_ptr<const Bytes> mData GUARDED_BY(mLock);  ///< of the update at hand
    std::deque<Update> mUpdates GUARDED_BY(mLock);
};

}  // namespace velora::host
