#include <atomic>
#include <system_error>
#include <utility>

#include <pthread.h>

#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

namespace android {

namespace {

std::atomic<ALooper::handler_id> gNextHandlerId{1};

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
    if (const sp<AHandler> handler = found.promote()) handler->leave();
}

status_t ALooper::start(bool runOnCallingThread, bool /*canCallJava*/, int32_t /*priority*/) {
    std::lock_guard lock(mLock);
    if (runOnCallingThread || mState != State::kNew) return INVALID_OPERATION;
    try {
        mThread = std::thread([self = sp<ALooper>(this)] { self->loop(); });
    } catch (const std::system_error&) {
        return NO_MEMORY;
    }
    mState = State::kRunning;
    return OK;
}

status_t ALooper::stop() {
    std::deque<Event> dropped;  // released after the lock is
    std::thread ended;
    {
        std::lock_guard lock(mLock);
        if (mState != State::kRunning) return INVALID_OPERATION;
        mState = State::kStopped;
        dropped.swap(mQueue);
        ended.swap(mThread);
    }
    mChanged.notify_all();
    if (ended.get_id() == std::this_thread::get_id()) {
        ended.detach();
    } else {
        ended.join();
    }
    return OK;
}

status_t ALooper::post(handler_id id, const sp<AMessage>& message) {
    {
        std::lock_guard lock(mLock);
        if (mState == State::kStopped) return NAME_NOT_FOUND;
        mQueue.push_back({id, message});
    }
    mChanged.notify_one();
    return OK;
}

void ALooper::loop() {
    pthread_setname_np(pthread_self(), mName.substr(0, 15).c_str());
    for (Event event; waitForEvent(&event);) deliver(std::exchange(event, {}));
}

bool ALooper::waitForEvent(Event* event) {
    std::unique_lock lock(mLock);
    mChanged.wait(lock, [this] { return mState == State::kStopped || !mQueue.empty(); });
    if (mState == State::kStopped) return false;
    *event = std::move(mQueue.front());
    mQueue.pop_front();
    return true;
}

// A handler that was unregistered since has another number, or none.
void ALooper::deliver(const Event& event) {
    const sp<AHandler> handler = event.message->mHandler.promote();
    if (handler && handler->id() == event.id) handler->onMessageReceived(event.message);
}

}  // namespace android
