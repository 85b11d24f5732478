#define LOG_TAG "velorad"

#include "host/daemon/ServiceHost.h"

#include "host/daemon/EventCallback.h"
#include "service/Protocol.h"

#include <atomic>
#include <utility>
#include <vector>

#include <sys/epoll.h>

#include <log/log.h>

namespace velora::host {

using android::sp;
using android::VeloraManagerService;

/// The daemon's own client of the service. Its key is the lowest, so the service notifies it before
/// all others. Held by the service, which calls it on any thread.
class ServiceHost::Observer : public android::IKmsCallbacks {
public:
    explicit Observer(UpdateQueue* queue) : mQueue(queue) {}

    android::hardware::Return<void> onSfxParamUpdate(
        const android::hardware::hidl_vec<uint8_t>& data) override {
        try {
            mQueue->begin({data.data(), data.size()});
        } catch (const std::exception& e) {
            return android::hardware::Status::transportError(e.what());
        }
        return android::hardware::Void();
    }

private:
    UpdateQueue* const mQueue;
};

namespace {

// Callbacks of sources that only wake the event loop: the turn that follows does the work.
int onQueueFilled(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/, void* /*self*/) {
    return 0;
}
int onAgain(sd_event_source* /*source*/, void* /*self*/) { return 0; }

}  // namespace

/// Requests to read the extra tuning file that are answered together.
struct ServiceHost::Reload {
    std::atomic<bool> hasBegun{false};
    std::vector<UpdateQueue::Completion> onDone;  ///< bus thread only
};

ServiceHost::ServiceHost(sd_bus* bus, sd_event* event, std::chrono::microseconds saveDelay)
    : mEvent(event),
      mSaveDelay(static_cast<uint64_t>(saveDelay.count())),
      mService(sp<VeloraManagerService>::make()),
      mCalls(bus, [this](const std::string& name) { mClients.onLeft(name); }),
      mClients(bus, mService.get(), &mQueue, &mWorker),
      mWorker(&mQueue) {
    mQueueFilled = create<EventSource>(
        [&](sd_event_source** s) {
            return sd_event_add_io(event, s, mQueue.fd(), EPOLLIN, onQueueFilled, nullptr);
        },
        "watch the updates");
    mAgain = create<EventSource>(
        [&](sd_event_source** s) { return sd_event_add_defer(event, s, onAgain, nullptr); },
        "make a turn");
    mTurn = create<EventSource>(
        [&](sd_event_source** s) { return sd_event_add_post(event, s, onTurn, this); },
        "make a turn");

    mSaveTimer = create<EventSource>(
        [&](sd_event_source** s) {
            return sd_event_add_time(event, s, CLOCK_MONOTONIC, 0, 0, onSaveTimer, this);
        },
        "make a timer");
    check(sd_event_source_set_enabled(mSaveTimer.get(), SD_EVENT_OFF), "stop the timer");
}

// A failed save is logged by the service, and nobody is left to report it to.
ServiceHost::~ServiceHost() { static_cast<void>(shutdown()); }

void ServiceHost::start(const UpdateQueue::Completion& onStarted) {
    addPending(sizeof kRegistrationNotice);  // every registration is followed by a notice to all
    mWorker.run([this, onStarted] {
        mService->registerClient(sp<Observer>::make(&mQueue), 0, UpdateQueue::kObserver);
        return [this, onStarted] {
            mHasStarted = true;
            onStarted();
        };
    });
}

bool ServiceHost::shutdown() {
    mWorker.stop();
    return mService->shutdown();
}

// The service has no query for this, so ask it for something that it refuses until it is ready.
bool ServiceHost::isReady() {
    int32_t request = wordOf(Command::SWITCH_EFFECT);
    int32_t on = 0;
    return mService->getSfxParam(&request, sizeof request, &on, sizeof on) == 0;
}

void ServiceHost::checkAcceptsRequest(size_t size) const {
    if (mIsExiting) throw BusError(SD_BUS_ERROR_FAILED, "the service is shutting down");

    // Each request causes an update to every client, which the bus would have to keep.
    const size_t updates = mPendingBytes + ReadWatch::kOverhead + size;
    if (mPending >= kMaxPending || !mClients.haveRoomForSignals(updates)) {
        throw std::system_error(EAGAIN, std::generic_category());
    }
}

void ServiceHost::addPending(size_t size) {
    ++mPending;
    mPendingBytes += ReadWatch::kOverhead + size;
}

void ServiceHost::answerAfter(Worker::Work work) {
    mWorker.run([work = std::move(work), answer = mCalls.postpone()] {
        return [completion = work(), answer] { answer(completion); };
    });
}

void ServiceHost::reload(UpdateQueue::Completion onDone) {
    if (mReload == nullptr || mReload->hasBegun) {
        mReload = std::make_shared<Reload>();
        mWorker.run([this, reload = mReload] {
            reload->hasBegun = true;
            mService->setIntParam(key::kReload, 0);
            return [reload] {
                for (const auto& done : std::exchange(reload->onDone, {})) done();
            };
        });
    }
    mReload->onDone.push_back(std::move(onDone));
}

// One is delivered before calls are served, so that answers which fill the socket again and again
// don't keep updates waiting for ever; the others follow the calls, because there may be many.
void ServiceHost::turn() {
    mCalls.readMore();
    for (auto& item : mQueue.removeAll()) mUndelivered.push_back(std::move(item));

    deliverNext();
    const bool isMore = mHasStarted && mCalls.serveTurn();
    while (deliverNext()) continue;
    endIfDone();

    check(sd_event_source_set_enabled(mAgain.get(), isMore ? SD_EVENT_ONESHOT : SD_EVENT_OFF),
          "make a turn");
}

// False if there is none, or while the bus takes nothing: an update needs less memory than its
// signal.
bool ServiceHost::deliverNext() {
    if (mUndelivered.empty() || !mCalls.canSend()) return false;

    const UpdateQueue::Item item = std::move(mUndelivered.front());
    mUndelivered.pop_front();
    if (const auto* const completion = std::get_if<UpdateQueue::Completion>(&item)) {
        (*completion)();
    } else if (const auto& update = std::get<UpdateQueue::Update>(item);
               update.client == UpdateQueue::kObserver) {
        observe(update);
    } else {
        mClients.send(update);
    }
    return true;
}

// Every update is the outcome of a request, except for the empty one after a reload.
void ServiceHost::observe(const UpdateQueue::Update& update) {
    const size_t size = update.data->size();
    if (size > 0) {
        --mPending;
        mPendingBytes -= ReadWatch::kOverhead + size;
    }

    const Words words(update.data->data(), size);
    if (!isRegistrationNotice(words)) scheduleSave();
}

// The delay runs from the first unsaved change: restarting it with each change would let a busy
// client put the save off for ever.
void ServiceHost::scheduleSave() {
    if (mSaveScheduled) return;
    uint64_t now = 0;
    check(sd_event_now(mEvent, CLOCK_MONOTONIC, &now), "read the clock");

    check(sd_event_source_set_time(mSaveTimer.get(), now + mSaveDelay), "set the timer");
    check(sd_event_source_set_enabled(mSaveTimer.get(), SD_EVENT_ONESHOT), "set the timer");
    mSaveScheduled = true;
}

void ServiceHost::save() {
    mSaveScheduled = false;
    if (mIsSaving) return scheduleSave();

    mIsSaving = true;
    mWorker.run([this] {
        const bool isSaved = mService->saveSettings();
        return [this, isSaved] { onSaved(isSaved); };
    });
}

void ServiceHost::onSaved(bool isSaved) {
    mIsSaving = false;

    if (isSaved) {
        ALOGD("settings saved");
    } else {
        ALOGW("settings not saved, trying again in %u ms",
              static_cast<unsigned>(mSaveDelay / 1000));
        scheduleSave();
    }
}

void ServiceHost::requestExit() {
    if (mIsExiting) sd_event_exit(mEvent, 0);
    mIsExiting = true;
}

void ServiceHost::endIfDone() {
    const bool isDone = mPending == 0 && mWorker.isIdle() && mUndelivered.empty();
    if (!mIsExiting || mIsEnding || !isDone) return;

    mIsEnding = true;
    mWorker.run([this] {
        static_cast<void>(mService->shutdown());  // main asks for the result again
        return [this] { sd_event_exit(mEvent, 0); };
    });
}

int ServiceHost::onTurn(sd_event_source* /*source*/, void* self) {
    return logErrors([&] { static_cast<ServiceHost*>(self)->turn(); });
}

int ServiceHost::onSaveTimer(sd_event_source* /*source*/, uint64_t /*now*/, void* self) {
    return logErrors([&] { static_cast<ServiceHost*>(self)->save(); });
}

}  // namespace velora::host
