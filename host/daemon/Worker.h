#pragma once

#include "host/daemon/UpdateQueue.h"

#include <deque>
#include <functional>
#include <thread>

#include <utils/Condition.h>
#include <utils/Mutex.h>

namespace velora::host {

/// One thread that does what may wait for the disk, one work at a time, in the order given.
///
/// Owned by the ServiceHost and used on the bus thread, which also destroys every work and every
/// completion. The thread starts with the object.
class Worker {
public:
    /// Runs on the worker's thread and returns what remains to be done on the bus thread. Must not
    /// throw; the completion may.
    using Work = std::function<UpdateQueue::Completion()>;

    /// The completions are queued in `done`, which must outlive this object. Throws
    /// std::system_error if there is no thread.
    explicit Worker(UpdateQueue* done);
    /// Calls `stop`.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Queues `work`. After `stop` it is never done.
    void run(Work work);
    /// True if no work waits or runs, and all completions have been called.
    bool isIdle() const { return mUnfinished == 0; }
    /// Drops what hasn't begun, and returns when the thread has ended.
    void stop();

private:
    void loop();
    /// Waits for the next work. Returns an empty one when the thread is to end.
    Work next();
    void finish(const UpdateQueue::Completion& completion);

    UpdateQueue* const mDone;
    size_t mUnfinished = 0;  ///< bus thread only
    android::Mutex mLock;
    android::Condition mChanged;  ///< of what mLock guards
    std::deque<Work> mQueue GUARDED_BY(mLock);
    bool mIsStopped GUARDED_BY(mLock) = false;
    std::thread mThread;  ///< the last member, because it uses the others
};

}  // namespace velora::host
