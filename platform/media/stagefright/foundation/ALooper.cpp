#include <atomic>
#include <system_error>
#include <utility>

#include <pthread.h>

#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

namespace android {

namespace {

constexpr size_t kMaxThreadName = 15;  // characters; the system refuses a longer name

std::atomic<ALooper::handler_id> gNextHandlerId{1};  // unique in the process; 0 is no handler

}  // namespace

ALooper::ALooper() = default;

ALooper::~ALooper() = default;

ALooper::handler_id ALooper::registerHandler(const sp<AHandler>& handler) {
    const handler_id id = gNextHandlerId++;
    if (!handler->enter(id, this)) return INVALID_OPERATION;

    std::lock_guard lock(mLock);
    mHandlers[id] = handler;
    return id;
}

void ALooper::unregisterHandler(handler_id id) {
    wp<AHandler> found;
    {
        std::lock_guard lock(mLock);
        const auto entry = mHandlers.find(id);
        if (entry == mHandlers.end()) return;
        found = entry->second;
        mHandlers.erase(entry);
    }

    // The handler has a lock of its own, which is never acquired under this one.
    if (const sp<AHandler> handler = found.promote()) handler->leave();
}

status_t ALooper::start(bool runOnCallingThread, bool /*canCallJava*/, int32_t /*priority*/) {
    std::lock_guard lock(mLock);
    if (runOnCallingThread || mState != State::NEW) return INVALID_OPERATION;

    // The thread holds a reference, so that the looper outlives its loop.
    try {
        mThread = std::thread([self = sp<ALooper>(this)] { self->loop(); });
    } catch (const std::system_error&) {
        return NO_MEMORY;
    }

    mState = State::RUNNING;
    return OK;
}

status_t ALooper::stop() {
    std::deque<Event> dropped;  // destroyed without the lock: a destructor may post a message
    std::thread thread;
    {
        std::lock_guard lock(mLock);
        if (mState != State::RUNNING) return INVALID_OPERATION;
        mState = State::STOPPED;
        dropped.swap(mQueue);
        thread.swap(mThread);
    }
    mChanged.notify_all();

    // A thread can't wait for its own end.
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
    } else {
        thread.join();
    }
    return OK;
}

status_t ALooper::post(handler_id id, const sp<AMessage>& message) {
    {
        std::lock_guard lock(mLock);
        if (mState == State::STOPPED) return NAME_NOT_FOUND;
        mQueue.push_back({id, message});
    }
    mChanged.notify_one();
    return OK;
}

void ALooper::loop() {
    pthread_setname_np(pthread_self(), mName.substr(0, kMaxThreadName).c_str());
    for (Event event; waitForEvent(&event);) deliver(std::exchange(event, {}));
}

bool ALooper::waitForEvent(Event* event) {
    std::unique_lock lock(mLock);
    mChanged.wait(lock, [this] { return mState == State::STOPPED || !mQueue.empty(); });
    if (mState == State::STOPPED) return false;

    *event = std::move(mQueue.front());
    mQueue.pop_front();
    return true;
}

// A handler that has been unregistered since the message was posted has another number, or none.
void ALooper::deliver(const Event& event) {
    const sp<AHandler> handler = event.message->mHandler.promote();
    if (handler && handler->id() == event.id) handler->onMessageReceived(event.message);
}

}  // namespace android
