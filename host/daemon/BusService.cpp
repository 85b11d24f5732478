#define LOG_TAG "velorad"

#include "host/daemon/BusService.h"

#include "model/Port.h"
#include "service/Protocol.h"

#include <algorithm>
#include <type_traits>

#include <sys/epoll.h>

#include <log/log.h>

namespace velora::host {

using android::sp;
using android::VeloraManagerService;

namespace {

/// The object that an operation belongs to.
template <typename T>
T& objectOf(BusService& self) {
    if constexpr (std::is_same_v<T, BusService>) {
        return self;
    } else {
        return self.service();
    }
}

/// Reads the arguments of an operation from `call`, does it, and answers.
template <typename T, typename Result, typename... Args>
int answer(sd_bus_message* call, BusService& self, Result (T::*operation)(Args...)) {
    std::tuple<std::decay_t<Args>...> arguments;
    readFrom(call, arguments);
    const auto act = [&](auto&&... argument) -> Result {
        return (objectOf<T>(self).*operation)(argument...);
    };
    const auto reply = [&] {
        return made<Message>(
            [&](sd_bus_message** m) { return sd_bus_message_new_method_return(call, m); }, "reply");
    };
    if constexpr (std::is_void_v<Result>) {
        std::apply(act, arguments);
        return sd_bus_send(nullptr, reply().get(), nullptr);
    } else {
        const Result result = std::apply(act, arguments);
        const Message message = reply();
        appendTo(message.get(), result);
        return sd_bus_send(nullptr, message.get(), nullptr);
    }
}

template <auto operation>
int method(sd_bus_message* call, void* self, sd_bus_error* error) {
    return guarded(error, [&] { return answer(call, *static_cast<BusService*>(self), operation); });
}

int getVersion(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
               const char* /*property*/, sd_bus_message* reply, void* /*self*/,
               sd_bus_error* /*error*/) {
    return sd_bus_message_append_basic(reply, 's', VELORA_VERSION);
}

// clang-format off
// name, types and names of the arguments, types and names of the answers, function
#define OPERATION(name, in, inNames, out, outNames, function)                     \
    SD_BUS_METHOD_WITH_NAMES(name, in, inNames, out, outNames, method<&function>, \
                             SD_BUS_VTABLE_UNPRIVILEGED)

// Who may call is the bus policy's to say.
const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    OPERATION("RegisterClient", "i", "type\0", "", "", BusService::registerClient),
    OPERATION("UnregisterClient", "i", "type\0", "", "", BusService::unregisterClient),
    OPERATION("SetSfxParam", "ay", "request\0", "i", "result\0", BusService::setSfxParam),
    OPERATION("GetSfxParam", "ayu", "request\0room\0", "iay", "result\0answer\0", BusService::getSfxParam),
    OPERATION("SetParam", "uuai", "device\0id\0values\0", "i", "result\0", BusService::setParam),
    OPERATION("CommitChange", "", "", "i", "result\0", VeloraManagerService::commitChange),
    OPERATION("GetStoredParams", "b", "committed\0", "ia{ua{uai}}", "result\0params\0", BusService::getStoredParams),
    OPERATION("GetSfxEnabled", "", "", "b", "enabled\0", VeloraManagerService::getSfxEnabled),
    OPERATION("GetProfileName", "i", "profile\0", "s", "name\0", VeloraManagerService::getProfileName),
    OPERATION("GetIeqPresetName", "i", "preset\0", "s", "name\0", VeloraManagerService::getIeqPresetName),
    OPERATION("GetAvailableTuningDevicesLen", "i", "port\0", "i", "length\0", VeloraManagerService::getAvailableTuningDevicesLen),
    OPERATION("GetAvailableTuningDevices", "ii", "port\0length\0", "ay", "names\0", BusService::getAvailableTuningDevices),
    OPERATION("GetSelectedTuningDevice", "i", "port\0", "s", "name\0", VeloraManagerService::getSelectedTuningDevice),
    OPERATION("SetSelectedTuningDevice", "is", "port\0name\0", "", "", BusService::setSelectedTuningDevice),
    OPERATION("GetDialogEnhancerAmount", "", "", "i", "amount\0", VeloraManagerService::getDialogEnhancerAmount),
    OPERATION("IsMonoInternalSpeaker", "", "", "b", "mono\0", VeloraManagerService::isMonoInternalSpeaker),
    OPERATION("IsSpeakerPortraitMode", "", "", "b", "portrait\0", VeloraManagerService::isSpeakerPortraitMode),
    OPERATION("IsMobilityProfileSelected", "", "", "b", "mobility\0", VeloraManagerService::isMobilityProfileSelected),
    OPERATION("HasDecCP", "", "", "b", "registered\0", VeloraManagerService::hasDecCP),
    OPERATION("HasDecDV", "", "", "b", "registered\0", VeloraManagerService::hasDecDV),
    OPERATION("HasMulitchannelDecDV", "", "", "b", "registered\0", VeloraManagerService::hasMulitchannelDecDV),
    OPERATION("GetZenithGameSystemGain", "", "", "i", "gain\0", VeloraManagerService::getZenithGameSystemGain),
    OPERATION("GetActiveDevice", "", "", "i", "device\0", VeloraManagerService::getActiveDevice),
    OPERATION("GetDefaultXmlFormatVersion", "", "", "x", "version\0", VeloraManagerService::getDefaultXmlFormatVersion),
    OPERATION("GetIntParam", "u", "key\0", "x", "value\0", VeloraManagerService::getIntParam),
    OPERATION("SetIntParam", "ux", "key\0value\0", "", "", BusService::setIntParam),
    SD_BUS_SIGNAL_WITH_NAMES(kUpdate, "iay", "type\0data\0", 0),
    SD_BUS_SIGNAL_WITH_NAMES(kDropped, "s", "reason\0", 0),
    SD_BUS_PROPERTY("Version", "s", getVersion, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};
#undef OPERATION
// clang-format on

void limit(bool holds, const char* message) {
    if (!holds) throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, message);
}

/// Runs what a callback of the event loop does. What throws is logged: a failed callback would
/// never be called again.
template <typename Work>
int attempt(Work work) noexcept {
    const int result = guarded(nullptr, [&] {
        work();
        return 0;
    });
    if (result < 0) ALOGE("an event's work failed, %d", result);
    return 0;
}

}  // namespace

/// The host's own client of the service, which sees every update before the others do. Any thread.
class BusService::Observer : public android::IKmsCallbacks {
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

BusService::BusService(sd_bus* bus, sd_event* event, std::chrono::microseconds saveDelay)
    : mBus(bus),
      mEvent(event),
      mSaveDelay(static_cast<uint64_t>(saveDelay.count())),
      mService(sp<VeloraManagerService>::make()),
      mClients(bus, mService.get(), &mQueue) {
    mObject = made<Slot>(
        [&](sd_bus_slot** s) {
            return sd_bus_add_object_vtable(bus, s, kObjectPath, kInterface, kVtable, this);
        },
        "offer the service");
    mUpdates = made<EventSource>(
        [&](sd_event_source** s) {
            return sd_event_add_io(event, s, mQueue.fd(), EPOLLIN, onUpdates, this);
        },
        "watch the updates");
    // What is known goes out before more is asked.
    check(sd_event_source_set_priority(mUpdates.get(), SD_EVENT_PRIORITY_IMPORTANT), "watch");
    mSettled = made<EventSource>(
        [&](sd_event_source** s) {
            return sd_event_add_time(event, s, CLOCK_MONOTONIC, 0, 0, onSettled, this);
        },
        "make a timer");
    check(sd_event_source_set_enabled(mSettled.get(), SD_EVENT_OFF), "make a timer");
    ++mWaiting;
    mService->registerClient(sp<Observer>::make(&mQueue), 0, UpdateQueue::kObserver);
}

BusService::~BusService() { end(); }

void BusService::leave() {
    if (mLeaving || mWaiting == 0) sd_event_exit(mEvent, 0);
    mLeaving = true;
}

int BusService::onUpdates(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/,
                          void* self) {
    return attempt([&] { static_cast<BusService*>(self)->deliver(); });
}

int BusService::onSettled(sd_event_source* /*source*/, uint64_t /*now*/, void* self) {
    return attempt([&] { static_cast<BusService*>(self)->save(); });
}

void BusService::deliver() {
    for (const UpdateQueue::Update& update : mQueue.take()) {
        if (update.client != UpdateQueue::kObserver) {
            mClients.send(update);
            continue;
        }
        if (update.requested) --mWaiting;
        const Words words(update.data->data(), update.data->size());
        if (!isRegistrationNotice(words)) noteChange();
    }
    if (mLeaving && mWaiting == 0) sd_event_exit(mEvent, 0);
}

void BusService::noteChange() {
    if (mSavePending) return;
    uint64_t time = 0;
    check(sd_event_now(mEvent, CLOCK_MONOTONIC, &time), "tell the time");
    check(sd_event_source_set_time(mSettled.get(), time + mSaveDelay), "set the timer");
    check(sd_event_source_set_enabled(mSettled.get(), SD_EVENT_ONESHOT), "set the timer");
    mSavePending = true;
}

void BusService::save() {
    mSavePending = false;
    if (!mService->saveSettings()) return noteChange();
    ALOGD("settings saved");
}

std::string BusService::sender() const {
    const char* const name = sd_bus_message_get_sender(sd_bus_get_current_message(mBus));
    if (name == nullptr) throw BusError(SD_BUS_ERROR_ACCESS_DENIED, "who is calling?");
    return name;
}

void BusService::checkWaiting() const {
    if (mLeaving) throw BusError(SD_BUS_ERROR_FAILED, "the service is leaving");
    limit(mWaiting < kMaxWaiting, "too many requests wait to be done");
    limit(!mClients.areBehind(), "clients have yet to read of what was done");
}

bool BusService::isReady() {
    int32_t request = wordOf(Command::SWITCH_EFFECT);
    int32_t on = 0;
    return mService->getSfxParam(&request, sizeof request, &on, sizeof on) == 0;
}

void BusService::registerClient(int32_t type) {
    checkWaiting();
    mClients.enter(sender(), type);
    ++mWaiting;
}

// Whatever waits: there are no more of these than registrations, and a client that leaves frees
// room.
void BusService::unregisterClient(int32_t type) {
    mClients.leave(sender(), type);
    ++mWaiting;
    if (!mService->isSaved()) throw BusError(SD_BUS_ERROR_FAILED, "the settings couldn't be saved");
}

int32_t BusService::setSfxParam(const Bytes& request) {
    checkWaiting();
    limit(request.size() <= VeloraManagerService::kMaxRequestSize, "the request is too long");
    if (request.empty()) throw BusError(SD_BUS_ERROR_INVALID_ARGS, "an empty request");
    Bytes copy = request;
    const int result = mService->setSfxParam(copy.data(), static_cast<uint32_t>(copy.size()));
    if (result == 0) ++mWaiting;
    return result;
}

std::tuple<int32_t, Bytes> BusService::getSfxParam(const Bytes& request, uint32_t room) {
    limit(request.size() <= VeloraManagerService::kMaxRequestSize, "the request is too long");
    limit(room <= kMaxAnswer, "too much room for the answer");
    Bytes copy = request;
    Bytes out(room);
    const int result =
        mService->getSfxParam(copy.data(), static_cast<uint32_t>(copy.size()), out.data(), room);
    return {result, out};
}

int32_t BusService::setParam(uint32_t device, uint32_t id, const Integers& values) {
    limit(values.size() <= kMaxValues, "too many values");
    limit(mRawParameters.contains({device, id}) || mRawParameters.size() < kMaxRawParameters,
          "too many parameters");
    const int result =
        mService->setParam(device, id, values.data(), static_cast<uint32_t>(values.size()));
    if (result == 0) mRawParameters.emplace(device, id);
    return result;
}

std::tuple<int32_t, StoredParams> BusService::getStoredParams(bool committed) {
    SfxParamStore::Caches caches;
    int count = 0;
    const int result = mService->getStoredParams(&caches, committed, &count);
    StoredParams params;
    for (size_t i = 0; i < caches.size(); ++i) {
        params[caches.keyAt(i)] = caches.valueAt(i)->params();
    }
    return {result, params};
}

Bytes BusService::getAvailableTuningDevices(int32_t port, int32_t length) {
    limit(length <= static_cast<int32_t>(kMaxAnswer), "too much room for the answer");
    Bytes names(static_cast<size_t>(std::max(length, 0)));
    mService->getAvailableTuningDevices(port, names.data(), length);
    return names;
}

void BusService::setSelectedTuningDevice(int32_t port, const std::string& name) {
    checkWaiting();
    limit(name.size() <= VeloraManagerService::kMaxRequestSize, "the name is too long");
    if (!isPort(port)) throw BusError(SD_BUS_ERROR_INVALID_ARGS, "a port is 0 to 6");
    const bool prints = std::none_of(name.begin(), name.end(),
                                     [](unsigned char c) { return c < ' ' || c == 0x7f; });
    if (name.empty() || !prints) throw BusError(SD_BUS_ERROR_INVALID_ARGS, "no name of a device");
    std::string copy = name;
    mService->setSelectedTuningDevice(port, copy.data(), static_cast<int>(copy.size()));
    if (isReady()) ++mWaiting;
}

// The update that a reload brings goes out before the answer, so that a client which waits for that
// knows how it went.
void BusService::setIntParam(uint32_t key, int64_t value) {
    mService->setIntParam(key, value);
    deliver();
}

}  // namespace velora::host
