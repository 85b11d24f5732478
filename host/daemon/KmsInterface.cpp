#include "host/daemon/KmsInterface.h"

#include "model/Port.h"
#include "service/Protocol.h"
#include "util/RootPrefix.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace velora::host {

using android::VeloraManagerService;

namespace {

// An operation belongs to the interface, or to the service where forwarding is all there is to do.
template <typename Result, typename... Args>
int answer(sd_bus_message* call, KmsInterface& self, Result (KmsInterface::*operation)(Args...)) {
    return answerCall(call, self.calls(), self, operation);
}
template <typename Result, typename... Args>
int answer(sd_bus_message* call, KmsInterface& self,
           Result (VeloraManagerService::*operation)(Args...)) {
    return answerCall(call, self.calls(), self.service(), operation);
}

template <auto operation>
int method(sd_bus_message* call, void* self, sd_bus_error* error) {
    return guarded(error,
                   [&] { return answer(call, *static_cast<KmsInterface*>(self), operation); });
}

int getVersion(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
               const char* /*property*/, sd_bus_message* reply, void* /*self*/,
               sd_bus_error* /*error*/) {
    return sd_bus_message_append_basic(reply, 's', VELORA_VERSION);
}

int getTuningFile(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                  const char* /*property*/, sd_bus_message* reply, void* /*self*/,
                  sd_bus_error* error) {
    return guarded(error, [&] {
        appendTo(reply, rooted(kTuningFile));
        return 0;
    });
}

// clang-format off
// name, signature and names of the arguments, signature and names of the results, member function
#define OPERATION(name, in, inNames, out, outNames, function)                     \
    SD_BUS_METHOD_WITH_NAMES(name, in, inNames, out, outNames, method<&function>, \
                             SD_BUS_VTABLE_UNPRIVILEGED)

// Unprivileged, because the policy of the bus decides who may call.
const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    OPERATION("RegisterClient", "i", "type\0", "", "", KmsInterface::registerClient),
    OPERATION("UnregisterClient", "i", "type\0", "", "", KmsInterface::unregisterClient),
    OPERATION("SetSfxParam", "ay", "request\0", "i", "result\0", KmsInterface::setSfxParam),
    OPERATION("GetSfxParam", "ayu", "request\0room\0", "iay", "result\0answer\0", KmsInterface::getSfxParam),
    OPERATION("SetParam", "uuai", "device\0id\0values\0", "i", "result\0", KmsInterface::setParam),
    OPERATION("CommitChange", "", "", "i", "result\0", VeloraManagerService::commitChange),
    OPERATION("GetStoredParams", "b", "committed\0", "ia{ua{uai}}", "result\0params\0", KmsInterface::getStoredParams),
    OPERATION("GetSfxEnabled", "", "", "b", "enabled\0", VeloraManagerService::getSfxEnabled),
    OPERATION("GetProfileName", "i", "profile\0", "s", "name\0", VeloraManagerService::getProfileName),
    OPERATION("GetIeqPresetName", "i", "preset\0", "s", "name\0", VeloraManagerService::getIeqPresetName),
    OPERATION("GetAvailableTuningDevicesLen", "i", "port\0", "i", "length\0", VeloraManagerService::getAvailableTuningDevicesLen),
    OPERATION("GetAvailableTuningDevices", "ii", "port\0length\0", "ay", "names\0", KmsInterface::getAvailableTuningDevices),
    OPERATION("GetSelectedTuningDevice", "i", "port\0", "s", "name\0", VeloraManagerService::getSelectedTuningDevice),
    OPERATION("SetSelectedTuningDevice", "is", "port\0name\0", "", "", KmsInterface::setSelectedTuningDevice),
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
    OPERATION("SetIntParam", "ux", "key\0value\0", "", "", KmsInterface::setIntParam),
    SD_BUS_SIGNAL_WITH_NAMES(kUpdateSignal, "iay", "type\0data\0", 0),
    SD_BUS_SIGNAL_WITH_NAMES(kDroppedSignal, "s", "reason\0", 0),
    SD_BUS_PROPERTY("TuningFile", "s", getTuningFile, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_PROPERTY("Version", "s", getVersion, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END,
};
#undef OPERATION
// clang-format on

void requireWithin(bool isWithin, const char* message) {
    if (!isWithin) throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED, message);
}

void requireValid(bool isValid, const char* message) {
    if (!isValid) throw BusError(SD_BUS_ERROR_INVALID_ARGS, message);
}

bool isControlCharacter(unsigned char c) { return c < ' ' || c == 0x7f; }

}  // namespace

// sd-bus only answers introspection, properties and wrong calls from the table. The queue calls the
// handlers of the methods.
KmsInterface::KmsInterface(sd_bus* bus, ServiceHost* host)
    : mHost(host), mCommits(std::make_shared<std::atomic<uint64_t>>(0)) {
    mSlot = create<Slot>(
        [&](sd_bus_slot** s) {
            return sd_bus_add_object_vtable(bus, s, kObjectPath, kInterface, kVtable, this);
        },
        "offer the service");
    calls().setHandlers(findHandler, this);
    SfxParamStore::getInstance().setListener([commits = mCommits] { ++*commits; });
}

KmsInterface::~KmsInterface() {
    SfxParamStore::getInstance().setListener(nullptr);
    calls().setHandlers(nullptr, nullptr);
}

sd_bus_message_handler_t KmsInterface::findHandler(sd_bus_message* call) {
    const char* const interface = sd_bus_message_get_interface(call);  // null if it has none
    if (interface != nullptr && strcmp(interface, kInterface) != 0) return nullptr;
    if (strcmp(sd_bus_message_get_path(call), kObjectPath) != 0) return nullptr;

    const char* const member = sd_bus_message_get_member(call);
    const auto* const row = std::find_if(std::begin(kVtable), std::end(kVtable), [&](auto& entry) {
        return entry.type == _SD_BUS_VTABLE_METHOD && strcmp(entry.x.method.member, member) == 0;
    });
    if (row == std::end(kVtable)) return nullptr;
    const bool isCallable = sd_bus_message_has_signature(call, row->x.method.signature) > 0;
    return isCallable ? row->x.method.handler : nullptr;
}

Postponed KmsInterface::registerClient(int32_t type) {
    constexpr size_t kNotice = sizeof kRegistrationNotice;  // follows every registration
    mHost->checkAcceptsRequest(kNotice);
    mHost->answerAfter(mHost->clients().add(calls().caller(), type));
    mHost->addPending(kNotice);
    return {};
}

// Accepted even when requests are not: there are no more of these than registrations, and a client
// that leaves makes room.
Postponed KmsInterface::unregisterClient(int32_t type) {
    mHost->answerAfter(mHost->clients().remove(calls().caller(), type));
    mHost->addPending(sizeof kRegistrationNotice);
    return {};
}

int32_t KmsInterface::setSfxParam(const Bytes& request) {
    requireWithin(request.size() <= VeloraManagerService::kMaxRequestSize,
                  "the request is too long");
    requireValid(!request.empty(), "the request is empty");
    mHost->checkAcceptsRequest(request.size());

    Bytes copy = request;
    const int result = service().setSfxParam(copy.data(), static_cast<uint32_t>(copy.size()));
    if (result == 0) mHost->addPending(copy.size());
    return result;
}

std::tuple<int32_t, Bytes> KmsInterface::getSfxParam(const Bytes& request, uint32_t room) {
    requireWithin(request.size() <= VeloraManagerService::kMaxRequestSize,
                  "the request is too long");
    requireWithin(room <= kMaxAnswerSize, "the room for the answer is too large");

    Bytes copy = request;
    Bytes out(room);
    const int result =
        service().getSfxParam(copy.data(), static_cast<uint32_t>(copy.size()), out.data(), room);
    return {result, out};
}

// Raw parameters stay in the memory of the service until it ends, so they are bounded too.
int32_t KmsInterface::setParam(uint32_t device, uint32_t id, const Integers& values) {
    const auto known = mRawParameters.find({device, id});
    const bool isNew = known == mRawParameters.end();
    const size_t all = mRawValues + values.size() - (isNew ? 0 : known->second);
    requireWithin(values.size() <= kMaxRawValues, "too many values");
    requireWithin(all <= kMaxAllRawValues, "too many values of all parameters");
    requireWithin(!isNew || mRawParameters.size() < kMaxRawParameters, "too many parameters");

    const int result =
        service().setParam(device, id, values.data(), static_cast<uint32_t>(values.size()));
    if (result != 0) return result;
    mRawParameters[{device, id}] = values.size();
    mRawValues = all;
    mStoredAnswer.reset();
    return 0;
}

std::tuple<int32_t, const StoredParams&> KmsInterface::getStoredParams(bool committed) {
    const uint64_t commits = *mCommits;
    if (mStoredAnswer && mStoredAnswer->committed == committed &&
        mStoredAnswer->commits == commits) {
        return {0, mStoredAnswer->params};
    }

    // A commit meanwhile makes the answer invalid, even if it has it already.
    mStoredAnswer = StoredAnswer{committed, commits, {}};
    SfxParamStore::Caches caches;
    int count = 0;
    const int result = service().getStoredParams(&caches, committed, &count);
    for (size_t i = 0; i < caches.size(); ++i) {
        mStoredAnswer->params[caches.keyAt(i)] = caches.valueAt(i)->params();
    }
    return {result, mStoredAnswer->params};
}

Bytes KmsInterface::getAvailableTuningDevices(int32_t port, int32_t length) {
    requireWithin(length <= static_cast<int32_t>(kMaxAnswerSize),
                  "the room for the answer is too large");

    Bytes names(static_cast<size_t>(std::max(length, 0)));
    service().getAvailableTuningDevices(port, names.data(), length);
    return names;
}

void KmsInterface::setSelectedTuningDevice(int32_t port, const std::string& name) {
    requireWithin(name.size() <= VeloraManagerService::kMaxRequestSize, "the name is too long");
    requireValid(isPort(port), "a port is 0 to 6");

    // Clients distinguish the notification, which is the name, from a command by its first byte.
    requireValid(!name.empty() && std::none_of(name.begin(), name.end(), isControlCharacter),
                 "not the name of a device");
    mHost->checkAcceptsRequest(name.size());

    std::string copy = name;
    service().setSelectedTuningDevice(port, copy.data(), static_cast<int>(copy.size()));

    // Before it is ready the service only logs the request, so no notification would follow.
    if (mHost->isReady()) mHost->addPending(copy.size());
}

// The update that a successful reload causes is sent before the reply, so that a client which waits
// for the reply knows the outcome. Other keys do nothing.
Postponed KmsInterface::setIntParam(uint32_t key, int64_t value) {
    if (key == key::kReload) {
        mHost->reload([answer = calls().postpone()] { answer([] {}); });
    } else {
        mHost->answerAfter([this, key, value] {
            service().setIntParam(key, value);
            return [] {};
        });
    }
    return {};
}

}  // namespace velora::host
