#pragma once

#include "host/Interface.h"

#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <variant>

#include <utils/Mutex.h>

namespace velora::host {

/// Hands over to the bus thread, the only one that may use the bus, what other threads have for it:
/// the service's notifications, and what remains to be done after the worker's work.
///
/// Owned by the ServiceHost. The service notifies the daemon's own observer first and then each
/// client in turn, on one thread at a time: the observer calls `begin` with the data, then each
/// client calls `address`. These and `post` may run on any thread; all other operations belong to
/// the bus thread. The length of the queue is bounded by the number of requests that the
/// ServiceHost accepts.
class UpdateQueue {
public:
    /// Key of the observer, below the keys of all clients.
    static constexpr uint32_t kObserver = 0;

    struct Update {
        uint32_t client;                    ///< key of the client, or kObserver
        std::shared_ptr<const Bytes> data;  ///< shared by all clients of one notification
    };
    /// What the bus thread does after a work of the worker.
    using Completion = std::function<void()>;
    using Item = std::variant<Update, Completion>;

    /// Throws std::system_error if no file descriptor is available.
    UpdateQueue();
    ~UpdateQueue();
    UpdateQueue(const UpdateQueue&) = delete;
    UpdateQueue& operator=(const UpdateQueue&) = delete;

    /// Starts a notification with a copy of `data` and queues it for the observer.
    void begin(std::span<const uint8_t> data);
    /// Queues the current notification for one client.
    void address(uint32_t client);
    /// Queues a completion, behind all notifications that its work has caused.
    void post(Completion completion);

    /// File descriptor that is readable while the queue isn't empty.
    int fd() const { return mFd; }
    /// Removes and returns everything, oldest first.
    [[nodiscard]] std::deque<Item> removeAll();

private:
    void addLocked(Item item) REQUIRES(mLock);

    const int mFd;
    android::Mutex mLock;
    std::shared_ptr<const Bytes> mData GUARDED_BY(mLock);  ///< of the current notification
    std::deque<Item> mItems GUARDED_BY(mLock);
};

}  // namespace velora::host
