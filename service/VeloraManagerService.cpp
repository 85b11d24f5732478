#define LOG_TAG "VeloraManagerService"

#include "service/VeloraManagerService.h"

#include "model/Port.h"
#include "service/AdapterParameter.h"
#include "service/EventHandler.h"
#include "service/NotificationClient.h"
#include "service/Protocol.h"
#include "util/Words.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>
#include <utility>

#include <log/log.h>
#include <utils/Errors.h>
#include <utils/SystemClock.h>

namespace android {

using velora::Command;
using velora::GetRequest;
using velora::Port;
using velora::ProfileAndPort;
using velora::SfxParamStore;
using velora::SndManager;
using velora::Words;

namespace {

uint32_t clientKey(int32_t type, uint32_t uid) { return uid + static_cast<uint32_t>(type); }

size_t lengthOf(const std::vector<std::string>& names) {
    size_t length = 0;
    for (const std::string& name : names) length += name.size() + 1;
    return length;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> fields(1);
    for (const char c : text) {
        if (c == separator) {
            fields.emplace_back();
        } else {
            fields.back().push_back(c);
        }
    }
    return fields;
}

}  // namespace

/// What the clients of one type move. A type without a row moves nothing.
struct VeloraManagerService::ClientType {
    int32_t type;
    bool codec;  ///< remembered as the last codec registered
    std::atomic<int32_t> VeloraManagerService::*counter;
    std::atomic<int64_t> VeloraManagerService::*flag;
    const char* flagMessage;
    int64_t channels;           ///< output channels that registering brings
    int64_t remainingChannels;  ///< what such a client counts when another one leaves
};

// The 12 channels of type 5 last until the next multichannel client leaves.
const VeloraManagerService::ClientType VeloraManagerService::kClientTypes[] = {
    {1, true, &VeloraManagerService::mCpDecoderCount, nullptr, nullptr, 0, 0},
    {2, true, &VeloraManagerService::mDvDecoderCount, nullptr, nullptr, 0, 0},
    {3, true, &VeloraManagerService::mMultichannelDvDecoderCount, nullptr, nullptr, 6, 6},
    {4, true, &VeloraManagerService::mMultichannelDvDecoderCount, nullptr, nullptr, 8, 8},
    {5, true, &VeloraManagerService::mMultichannelDvDecoderCount, nullptr, nullptr, 12, 0},
    {6, true, &VeloraManagerService::mCpDecoderCount, nullptr, nullptr, 0, 0},
    {8, false, nullptr, &VeloraManagerService::mGameSfxRegistered, "Game SFX is registered", 0, 0},
    {9, false, nullptr, &VeloraManagerService::mSpatializerRegistered, "Spatializer is registered",
     0, 0},
};

const VeloraManagerService::ClientType* VeloraManagerService::findClientType(int32_t type) {
    const auto* const row = std::find_if(std::begin(kClientTypes), std::end(kClientTypes),
                                         [&](const ClientType& r) { return r.type == type; });
    return row != std::end(kClientTypes) ? row : nullptr;
}

VeloraManagerService::VeloraManagerService() = default;

void VeloraManagerService::onFirstRef() {
    ALOGI("%s ", __func__);
    mManager = std::make_unique<SndManager>();
    mHandler = sp<EventHandler>::make(mManager.get(), this);
    mHandler->start();
}

VeloraManagerService::~VeloraManagerService() {
    ALOGI("%s ", "~VeloraManagerService");
    shutdown();
}

bool VeloraManagerService::saveSettings() {
    if (mInitialized) mSaved = mManager->saveSndStateAndSettings();
    if (!mSaved) ALOGE("%s the settings couldn't be stored", __func__);
    return mSaved;
}

bool VeloraManagerService::shutdown() {
    if (mEnded.exchange(true)) return mSaved;
    if (mHandler) mHandler->stop();
    return saveSettings();
}

void VeloraManagerService::initManager() {
    if (!mInitialized && !mEnded && mManager->init() == 0) mInitialized = true;
}

void VeloraManagerService::registerClient(const sp<IKmsCallbacks>& listener, int32_t type,
                                          uint32_t uid) {
    initManager();
    ALOGD("%s(type = %d, uid = %u valid listener = %s ) entry", __func__, type, uid,
          listener ? "yes" : "no");
    const uint32_t key = clientKey(type, uid);
    const auto client = sp<NotificationClient>::make(this, listener, type, key);

    Mutex::Autolock lock(mLock);
    if (mClients.indexOfKey(key) >= 0) {
        ALOGW("register uid already existing 0x%x", key);
    } else {
        enterClientLocked(client);
    }
    postRegistrationNotice();
    noteRegistrationLocked(type);
    ALOGD("%s(type = %d, uid = %u) exit", __func__, type, uid);
}

void VeloraManagerService::enterClientLocked(const sp<NotificationClient>& client) {
    ALOGV("registerClient() uid : 0x%x", client->key());
    mClients.add(client->key(), client);
    client->linkToDeath();
    const ClientType* const type = findClientType(client->type());
    if (type == nullptr) return;
    if (type->counter != nullptr) ++(this->*type->counter);
    mMultichannelOutputChannels = std::max(mMultichannelOutputChannels.load(), type->channels);
}

void VeloraManagerService::noteRegistrationLocked(int32_t type) {
    const ClientType* const row = findClientType(type);
    if (row == nullptr) return;
    if (row->codec) {
        mLastCodecType = type;
        ALOGD("Last registered codec type is %d", type);
    }
    if (row->flag != nullptr) {
        this->*row->flag = 1;
        ALOGD("%s", row->flagMessage);
    }
}

void VeloraManagerService::unregisterClient(const sp<IKmsCallbacks>& /*listener*/, int32_t type,
                                            uint32_t uid) {
    ALOGD("%s(type = %d, uid = %u) entry", __func__, type, uid);
    const uint32_t key = clientKey(type, uid);
    sp<NotificationClient> client;  // released after the lock is: it may be the listener's last

    Mutex::Autolock lock(mLock);
    client = mClients.valueFor(key);
    if (!client) {
        ALOGE("unregisterClient() uid 0x%x does not exist in Velora Server", key);
        return;
    }
    client->unlinkToDeath();
    mClients.removeItemsAt(static_cast<size_t>(mClients.indexOfKey(key)));
    noteDepartureLocked(client->type());
    countDepartureLocked(client->type());
    if (findClientType(client->type()) == nullptr) saveSettings();
    postRegistrationNotice();
    ALOGD("%s(type = %d, uid = %u) exit", __func__, type, uid);
}

void VeloraManagerService::countDepartureLocked(int32_t type) {
    const ClientType* const row = findClientType(type);
    if (row != nullptr && row->counter != nullptr) --(this->*row->counter);
}

void VeloraManagerService::noteDepartureLocked(int32_t type) {
    const ClientType* const row = findClientType(type);
    if (row == nullptr) return;
    if (row->channels > 0) mMultichannelOutputChannels = countOutputChannelsLocked();
    if (row->flag == &VeloraManagerService::mGameSfxRegistered) {
        mGameSfxRegistered = isTypeRegisteredLocked(type) ? 1 : 0;
        ALOGD("Game SFX registered status: %d", static_cast<int>(mGameSfxRegistered));
    }
    if (row->flag == &VeloraManagerService::mSpatializerRegistered) {
        mSpatializerRegistered = 0;
        ALOGD("Spatializer is unregistered");
    }
}

int64_t VeloraManagerService::countOutputChannelsLocked() const {
    int64_t channels = 0;
    for (size_t i = 0; i < mClients.size(); ++i) {
        const ClientType* const row = findClientType(mClients.valueAt(i)->type());
        if (row != nullptr) channels = std::max(channels, row->remainingChannels);
    }
    return channels;
}

bool VeloraManagerService::isTypeRegisteredLocked(int32_t type) const {
    for (size_t i = 0; i < mClients.size(); ++i) {
        if (mClients.valueAt(i)->type() == type) return true;
    }
    return false;
}

void VeloraManagerService::postRegistrationNotice() {
    mHandler->sendMessage(velora::kRegistrationNotice, sizeof velora::kRegistrationNotice,
                          EventHandler::kRegistrationChanged);
}

// A death notice may come late: the key may be free by then, or another client's.
void VeloraManagerService::removeNotificationClient(uint32_t key, const NotificationClient* died) {
    ALOGD("%s(uid = %u) entry", __func__, key);
    sp<NotificationClient> client;  // released after the lock is

    Mutex::Autolock lock(mLock);
    client = mClients.valueFor(key);
    if (client == died) {
        mClients.removeItemsAt(static_cast<size_t>(mClients.indexOfKey(key)));
        countDepartureLocked(client->type());
    }
    ALOGD("%s(uid = %u) exit", __func__, key);
}

void VeloraManagerService::doOnSfxParamUpdate(void* data, uint32_t size) {
    ALOGV("%s() entry", __func__);
    const sp<VeloraManagerService> self(this);  // a client may drop the last reference
    Mutex::Autolock lock(mLock);
    for (size_t i = 0; i < mClients.size(); ++i) mClients.valueAt(i)->onSfxParamUpdate(data, size);
    ALOGV("%s() exit", __func__);
}

int VeloraManagerService::setParam(audio_devices_t device, velora::SfxParameterId id,
                                   const int32_t* values, uint32_t count) {
    return SfxParamStore::getInstance().setParam(device, id, values, count);
}

int VeloraManagerService::commitChange() { return SfxParamStore::getInstance().commitChange(); }

int VeloraManagerService::getStoredParams(SfxParamStore::Caches* out, bool committed, int* count) {
    return SfxParamStore::getInstance().getStoredParams(out, committed, count);
}

int VeloraManagerService::setSfxParam(void* data, uint32_t size) {
    if (!mInitialized || mEnded) return NO_INIT;
    if ((data == nullptr && size > 0) || size > kMaxRequestSize) return BAD_VALUE;
    return mHandler->sendRequest(data, size, 0, EventHandler::kSetParam);
}

int VeloraManagerService::getSfxParam(void* in, uint32_t inLen, void* out, uint32_t outLen) {
    if (!mInitialized) return NO_INIT;
    packAndReceiveParam(in, inLen, out, outLen);
    return 0;
}

/// How one command of a get-request is answered.
struct VeloraManagerService::GetCommand {
    Command number;
    std::vector<int> (*answer)(SndManager& manager, const Words& request);
};

namespace {

std::vector<int> profilePortParameter(SndManager& manager, const Words& request) {
    const auto [profile, port] =
        ProfileAndPort::of(request.byteAt(GetRequest::kSecondArgument * Words::kSize));
    return manager.getProfilePortParameter(profile, port, request[GetRequest::kFirstArgument]);
}

}  // namespace

const VeloraManagerService::GetCommand VeloraManagerService::kGetCommands[] = {
    {Command::SWITCH_EFFECT,
     [](SndManager& m, const Words&) { return std::vector<int>{m.getSndOn()}; }},
    {Command::PROFILE_PARAMETER,
     [](SndManager& m, const Words& request) {
         return m.getParameter(request[GetRequest::kSecondArgument],
                               request[GetRequest::kFirstArgument]);
     }},
    {Command::PROFILE_PORT_PARAMETER, profilePortParameter},
    {Command::PROFILE_COUNT,
     [](SndManager& m, const Words&) { return std::vector{m.getNumOfProfiles()}; }},
    {Command::IEQ_PRESET_COUNT,
     [](SndManager& m, const Words&) { return std::vector{m.getNumOfIeqPresets()}; }},
    {Command::SELECTED_PROFILE,
     [](SndManager& m, const Words&) { return std::vector{m.getSelectedProfile()}; }},
    {Command::IS_PROFILE_MODIFIED,
     [](SndManager& m, const Words& request) {
         return std::vector<int>{m.isProfileModified(request[GetRequest::kFirstArgument])};
     }},
    {Command::IS_MONO_INTERNAL_SPEAKER,
     [](SndManager& m, const Words&) { return std::vector<int>{m.isMonoInternalSpeaker()}; }},
};

void VeloraManagerService::packAndReceiveParam(const void* in, uint32_t inLen, void* out,
                                               uint32_t outLen) {
    const Words request(in, inLen);
    if (request.size() < Words::kSize) ALOGE("%s : Invalid input length!", __func__);
    for (const GetCommand& command : kGetCommands) {
        if (command.number != Command{request.bigEndianAt(GetRequest::kCommand)}) continue;
        const std::vector<int> answer = command.answer(*mManager, request);
        const size_t size = answer.size() * Words::kSize;
        if (size > outLen || (out == nullptr && size > 0)) {
            ALOGE("%s : Invalid output length, not enough buffer!", __func__);
        } else if (size > 0) {
            memcpy(out, answer.data(), size);
        }
        return;
    }
}

bool VeloraManagerService::checkInitialized(const char* function) const {
    if (!mInitialized) ALOGE("%s SndManager doesn't initialize!", function);
    return mInitialized;
}

bool VeloraManagerService::checkPort(const char* function, int port) const {
    if (!velora::isPort(port)) ALOGE("%s invalid port number, %d", function, port);
    return velora::isPort(port);
}

bool VeloraManagerService::getSfxEnabled() { return mInitialized && mManager->getSndOn(); }

std::string VeloraManagerService::getProfileName(int profile) {
    if (!checkInitialized(__func__)) return {};
    // The number behind the last one is the facade's to answer.
    if (profile < 0 || profile > mManager->getNumOfProfiles()) return {};
    return mManager->getProfileName(profile);
}

std::string VeloraManagerService::getIeqPresetName(int preset) {
    if (!checkInitialized(__func__)) return {};
    if (preset < 0 || preset > mManager->getNumOfIeqPresets()) return {};
    return mManager->getIeqPresetName(preset);
}

int VeloraManagerService::getAvailableTuningDevicesLen(int port) {
    if (!checkInitialized(__func__) || !velora::isPort(port)) return 0;
    return mManager->getAvailableTuningDevicesLen(static_cast<Port>(port));
}

void VeloraManagerService::getAvailableTuningDevices(int port, void* buf, int len) {
    if (!checkInitialized(__func__) || !checkPort(__func__, port)) return;
    const auto names = mManager->getAvailableTuningDevices(static_cast<Port>(port));
    const bool fits = len >= 0 && static_cast<size_t>(len) >= lengthOf(names);
    if (!fits || (buf == nullptr && len > 0)) {
        ALOGE("%s not enough buffer for transferring device name lists for port %d", __func__,
              port);
        return;
    }
    if (len == 0) return;
    char* place = static_cast<char*>(buf);
    memset(place, ' ', static_cast<size_t>(len));
    for (const std::string& name : names) {
        memcpy(place, name.data(), name.size());
        place += name.size() + 1;
    }
}

std::string VeloraManagerService::getSelectedTuningDevice(int port) {
    if (!checkInitialized(__func__) || !checkPort(__func__, port)) return {};
    return mManager->getSelectedTuningName(static_cast<Port>(port));
}

void VeloraManagerService::setSelectedTuningDevice(int port, void* name, int len) {
    if (!checkInitialized(__func__) || !checkPort(__func__, port)) return;
    const bool valid = len >= 0 && static_cast<uint32_t>(len) <= kMaxRequestSize;
    if (!valid || (name == nullptr && len > 0)) {
        ALOGE("%s invalid name of length %d", __func__, len);
        return;
    }
    if (mHandler->sendRequest(name, static_cast<uint32_t>(len), port,
                              EventHandler::kSetSelectedTuning) != OK) {
        ALOGE("%s too many requests are waiting", __func__);
    }
}

int VeloraManagerService::getDialogEnhancerAmount() {
    constexpr int kUnknown = -1;
    if (!mInitialized) return kUnknown;
    const auto device = static_cast<velora::AndroidDevice>(mActiveDevice.load());
    const Port* const port = velora::kPortForDevice.find(device);
    if (port == nullptr) return kUnknown;
    const int profile = mManager->getSelectedProfile();
    const auto enabled =
        mManager->getProfilePortParameter(profile, *port, velora::kGraphicEqualizerEnable);
    const auto amount =
        mManager->getProfilePortParameter(profile, *port, velora::kDialogEnhancerDucking);
    if (enabled.empty() || amount.empty()) return kUnknown;
    return enabled.front() == 0 ? 0 : amount.front();
}

bool VeloraManagerService::isMonoInternalSpeaker() {
    return mInitialized && mManager->isMonoInternalSpeaker();
}

bool VeloraManagerService::isSpeakerPortraitMode() {
    return mInitialized && mManager->isSpeakerPortraitMode();
}

bool VeloraManagerService::isMobilityProfileSelected() {
    return mInitialized && mManager->isMobilityProfileSelected();
}

bool VeloraManagerService::hasDecCP() { return mCpDecoderCount != 0; }

bool VeloraManagerService::hasDecDV() {
    if (mSpatializerRegistered == 0 && hasMulitchannelDecDV()) return true;
    return mDvDecoderCount != 0;
}

bool VeloraManagerService::hasMulitchannelDecDV() { return mMultichannelDvDecoderCount != 0; }

int VeloraManagerService::getZenithGameSystemGain() {
    return mInitialized ? mManager->getZenithGameSystemGain() : 0;
}

int VeloraManagerService::getActiveDevice() {
    mLastActiveDeviceQueryMs = uptimeMillis();
    return mActiveDevice;
}

int64_t VeloraManagerService::getDefaultXmlFormatVersion() {
    if (!mInitialized) return NO_INIT;
    const std::string text = mManager->getDefaultXmlFormatVersion();
    const std::vector<std::string> fields = split(text, '.');
    if (fields.size() != 3) {
        ALOGE("XML version %s is not in Major.Minor.Maintain format!", text.c_str());
        return BAD_VALUE;
    }
    constexpr unsigned long kLimit = 1000;  // each number takes three decimal digits
    unsigned long numbers[3]{};
    std::transform(fields.begin(), fields.end(), numbers, [](const std::string& field) {
        return static_cast<unsigned long>(strtol(field.c_str(), nullptr, 10));
    });
    const auto [major, minor, maintenance] = numbers;
    if (major >= kLimit || minor >= kLimit || maintenance >= kLimit) {
        ALOGE("XML version %d.%d.%d is invalid!\n", static_cast<int>(major),
              static_cast<int>(minor), static_cast<int>(maintenance));
        return BAD_VALUE;
    }
    return static_cast<int64_t>((major * kLimit + minor) * kLimit + maintenance);
}

/// How one integer is read.
struct VeloraManagerService::IntKey {
    uint32_t key;
    int64_t (*read)(VeloraManagerService& service);
};

const VeloraManagerService::IntKey VeloraManagerService::kIntKeys[] = {
#define INT_KEY(name, expression)                                                        \
    {                                                                                    \
        velora::key::name, [](VeloraManagerService& s) -> int64_t { return expression; } \
    }
    INT_KEY(kActiveDevice, s.getActiveDevice()),
    INT_KEY(kSystemGain, s.getZenithGameSystemGain()),
    INT_KEY(kMobilityProfile, s.isMobilityProfileSelected()),
    INT_KEY(kChannelCount, s.mChctValue),
    INT_KEY(kEffectOn, s.getSfxEnabled()),
    INT_KEY(kCpDecoder, s.hasDecCP()),
    INT_KEY(kDvDecoder, s.hasDecDV()),
    INT_KEY(kOutputChannels, s.mMultichannelOutputChannels),
    INT_KEY(kDialogEnhancerAmount, s.getDialogEnhancerAmount()),
    INT_KEY(kFormatVersion, s.getDefaultXmlFormatVersion()),
    INT_KEY(kGameEffect, s.mGameSfxRegistered),
    INT_KEY(kLastDeviceQuery, s.mLastActiveDeviceQueryMs),
    INT_KEY(kLastCodecType, s.mLastCodecType),
    INT_KEY(kSpatializer, s.mSpatializerRegistered),
    INT_KEY(kMonoSpeaker, s.isMonoInternalSpeaker()),
    INT_KEY(kPortraitSpeaker, s.isSpeakerPortraitMode()),
#undef INT_KEY
};

int64_t VeloraManagerService::getIntParam(uint32_t key) {
    for (const IntKey& row : kIntKeys) {
        if (row.key == key) return row.read(*this);
    }
    return -1;
}

void VeloraManagerService::setIntParam(uint32_t key, int64_t /*value*/) {
    if (key != velora::key::kReload || mEnded) return;
    ALOGD("Notify clients that SFX params changed after reload tuning file.");
    if (mManager->reloadTuningXml() == 0) doOnSfxParamUpdate(nullptr, 0);
}

}  // namespace android
