#include "host/daemon/Worker.h"

#include <utility>

namespace velora::host {

using android::Mutex;
using Completion = UpdateQueue::Completion;

Worker::Worker(UpdateQueue* done) : mDone(done), mThread([this] { loop(); }) {}

Worker::~Worker() { stop(); }

void Worker::run(Work work) {
    ++mUnfinished;
    {
        Mutex::Autolock lock(mLock);
        mQueue.push_back(std::move(work));
    }
    mChanged.broadcast();
}

void Worker::stop() {
    std::deque<Work> dropped;  // destroyed without the lock
    {
        Mutex::Autolock lock(mLock);
        mIsStopped = true;
        mQueue.swap(dropped);
    }
    mChanged.broadcast();
    if (mThread.joinable()) mThread.join();
}

void Worker::loop() {
    while (Work work = next()) {
        Completion completion = work();

        // Both may refer to a message, which only the bus thread may release. So the work goes
        // first, while the completion still refers to the same message.
        work = nullptr;
        mDone->post([this, completion = std::move(completion)] { finish(completion); });
    }
}

Worker::Work Worker::next() {
    Mutex::Autolock lock(mLock);
    while (mQueue.empty() && !mIsStopped) mChanged.wait(mLock);
    if (mIsStopped) return nullptr;

    Work work = std::move(mQueue.front());
    mQueue.pop_front();
    return work;
}

void Worker::finish(const Completion& completion) {
    --mUnfinished;
    completion();
}

}  // namespace velora::host
