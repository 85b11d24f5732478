#define LOG_TAG "velorad"

#include "host/daemon/ServiceHost.h"

#include "host/daemon/EventCallback.h"
#include "service/Protocol.h"

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

ServiceHost::ServiceHost(sd_bus* bus, sd_event* event, std::chrono::microseconds saveDelay)
    : mEvent(event),
      mSaveDelay(static_cast<uint64_t>(saveDelay.count())),
      mService(sp<VeloraManagerService>::make()),
      mClients(bus, mService.get(), &mQueue) {
    mUpdatesQueued = create<EventSource>(
        [&](sd_event_source** s) {
            return sd_event_add_io(event, s, mQueue.fd(), EPOLLIN, onUpdatesQueued, this);
        },
        "watch the updates");

    mSaveTimer = create<EventSource>(
        [&](sd_event_source** s) {
            return sd_event_add_time(event, s, CLOCK_MONOTONIC, 0, 0, onSaveTimer, this);
        },
        "make a timer");
    check(sd_event_source_set_enabled(mSaveTimer.get(), SD_EVENT_OFF), "stop the timer");

    mService->registerClient(sp<Observer>::make(&mQueue), 0, UpdateQueue::kObserver);
    addPending();  // every registration is followed by a notice to all clients
}

// A failed save is logged by the service, and nobody is left to report it to.
ServiceHost::~ServiceHost() { static_cast<void>(shutdown()); }

// The service has no query for this, so ask it for something that it refuses until it is ready.
bool ServiceHost::isReady() {
    int32_t request = wordOf(Command::SWITCH_EFFECT);
    int32_t on = 0;
    return mService->getSfxParam(&request, sizeof request, &on, sizeof on) == 0;
}

void ServiceHost::checkAcceptsRequest() const {
    if (mExiting) throw BusError(SD_BUS_ERROR_FAILED, "the service is shutting down");

    if (mPending >= kMaxPending) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "too many requests are pending");
    }

    // Each request causes an update to every client, which the bus daemon would have to keep.
    if (mClients.isAnyBehind()) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, "a client has too many unread updates");
    }
}

void ServiceHost::deliverUpdates() {
    for (const UpdateQueue::Update& update : mQueue.removeAll()) {
        if (update.client == UpdateQueue::kObserver) {
            observe(update);
        } else {
            mClients.send(update);
        }
    }

    if (mExiting && mPending == 0) sd_event_exit(mEvent, 0);
}

void ServiceHost::observe(const UpdateQueue::Update& update) {
    if (update.answersRequest) --mPending;
    const Words words(update.data->data(), update.data->size());
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

    if (mService->saveSettings()) {
        ALOGD("settings saved");
    } else {
        ALOGW("settings not saved, trying again in %u ms",
              static_cast<unsigned>(mSaveDelay / 1000));
        scheduleSave();
    }
}

void ServiceHost::reload() { mService->setIntParam(key::kReload, 0); }

void ServiceHost::requestExit() {
    if (mExiting || mPending == 0) sd_event_exit(mEvent, 0);
    mExiting = true;
}

int ServiceHost::onUpdatesQueued(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/,
                                 void* self) {
    return logErrors([&] { static_cast<ServiceHost*>(self)->deliverUpdates(); });
}

int ServiceHost::onSaveTimer(sd_event_source* /*source*/, uint64_t /*now*/, void* self) {
    return logErrors([&] { static_cast<ServiceHost*>(self)->save(); });
}

}  // namespace velora::host
