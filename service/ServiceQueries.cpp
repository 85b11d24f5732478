#define LOG_TAG "VeloraManagerService"

#include "model/Port.h"
#include "service/AdapterParameter.h"
#include "service/ClientRegistry.h"
#include "service/Protocol.h"
#include "service/VeloraManagerService.h"
#include "util/Words.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>

#include <log/log.h>
#include <utils/Errors.h>
#include <utils/SystemClock.h>

// What the service answers, all of it on the calling thread.

namespace android {

using velora::Command;
using velora::GetRequest;
using velora::Port;
using velora::ProfileAndPort;
using velora::SndManager;
using velora::Words;

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kNotInitializedMessage[] = "%s SndManager doesn't initialize!";
constexpr char kInvalidPortMessage[] = "%s invalid port number, %d";
constexpr char kShortDeviceListMessage[] =
    "%s not enough buffer for transferring device name lists for port %d";
constexpr char kShortInputMessage[] = "%s : Invalid input length!";
constexpr char kShortOutputMessage[] = "%s : Invalid output length, not enough buffer!";
constexpr char kVersionFormMessage[] = "XML version %s is not in Major.Minor.Maintain format!";
constexpr char kVersionRangeMessage[] = "XML version %d.%d.%d is invalid!\n";

constexpr int64_t kUnknownKey = -1;
constexpr int kUnknownAmount = -1;

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

/// The version of a tuning file's text as one number; BAD_VALUE, with a line, for another text.
int64_t versionNumber(const std::string& text) {
    const std::vector<std::string> fields = split(text, '.');
    if (fields.size() != 3) {
        ALOGE(kVersionFormMessage, text.c_str());
        return BAD_VALUE;
    }

    constexpr unsigned long kLimit = 1000;  // each number has three decimal digits
    std::array<unsigned long, 3> numbers{};
    std::transform(fields.begin(), fields.end(), numbers.begin(), [](const std::string& field) {
        return static_cast<unsigned long>(strtol(field.c_str(), nullptr, 10));
    });

    const auto [major, minor, maintenance] = numbers;
    if (std::max({major, minor, maintenance}) >= kLimit) {
        ALOGE(kVersionRangeMessage, static_cast<int>(major), static_cast<int>(minor),
              static_cast<int>(maintenance));
        return BAD_VALUE;
    }
    return static_cast<int64_t>((major * kLimit + minor) * kLimit + maintenance);
}

}  // namespace

bool VeloraManagerService::checkInitialized(const char* function) const {
    if (!mInitialized) ALOGE(kNotInitializedMessage, function);
    return mInitialized;
}

bool VeloraManagerService::checkPort(const char* function, int port) const {
    if (!velora::isPort(port)) ALOGE(kInvalidPortMessage, function, port);
    return velora::isPort(port);
}

bool VeloraManagerService::getSfxEnabled() { return mInitialized && mManager->getSndOn(); }

std::string VeloraManagerService::getProfileName(int profile) {
    if (!checkInitialized(__func__)) return {};
    // The facade answers for the number behind the last one: its error is logged.
    if (profile < 0 || profile > mManager->getNumOfProfiles()) return {};
    return mManager->getProfileName(profile);
}

std::string VeloraManagerService::getIeqPresetName(int preset) {
    if (!checkInitialized(__func__)) return {};
    // The last preset has the number of the count: preset 0 is the one that is off.
    if (preset < 0 || preset > mManager->getNumOfIeqPresets()) return {};
    return mManager->getIeqPresetName(preset);
}

int VeloraManagerService::getAvailableTuningDevicesLen(int port) {
    if (!checkInitialized(__func__) || !velora::isPort(port)) return 0;
    return mManager->getAvailableTuningDevicesLen(static_cast<Port>(port));
}

void VeloraManagerService::getAvailableTuningDevices(int port, void* buf, int len) {
    if (!checkInitialized(__func__) || !checkPort(__func__, port)) return;
    std::string list;
    for (const std::string& name : mManager->getAvailableTuningDevices(static_cast<Port>(port))) {
        list += name + ' ';
    }

    const bool fits = len >= 0 && static_cast<size_t>(len) >= list.size();
    if (!fits || (buf == nullptr && len > 0)) {
        ALOGE(kShortDeviceListMessage, __func__, port);
        return;
    }

    list.resize(static_cast<size_t>(len), ' ');
    if (len > 0) memcpy(buf, list.data(), list.size());  // null without bytes isn't allowed there
}

std::string VeloraManagerService::getSelectedTuningDevice(int port) {
    if (!checkInitialized(__func__) || !checkPort(__func__, port)) return {};
    return mManager->getSelectedTuningName(static_cast<Port>(port));
}

int VeloraManagerService::getDialogEnhancerAmount() {
    if (!mInitialized) return kUnknownAmount;
    const auto device = static_cast<velora::AndroidDevice>(mActiveDevice.load());
    const Port* const port = velora::kPortForDevice.find(device);
    if (port == nullptr) return kUnknownAmount;

    const int profile = mManager->getSelectedProfile();
    const auto equalizer =
        mManager->getProfilePortParameter(profile, *port, velora::kGraphicEqualizerEnable);
    const auto ducking =
        mManager->getProfilePortParameter(profile, *port, velora::kDialogEnhancerDucking);
    if (equalizer.empty() || ducking.empty()) return kUnknownAmount;
    return equalizer.front() == 0 ? 0 : ducking.front();
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

bool VeloraManagerService::hasDecCP() { return mRegistry->hasCpDecoder(); }

bool VeloraManagerService::hasDecDV() {
    // With a spatializer the multichannel decoders don't count.
    if (!mRegistry->hasSpatializer() && hasMulitchannelDecDV()) return true;
    return mRegistry->hasDvDecoder();
}

bool VeloraManagerService::hasMulitchannelDecDV() { return mRegistry->hasMultichannelDecoder(); }

int VeloraManagerService::getZenithGameSystemGain() {
    return mInitialized ? mManager->getZenithGameSystemGain() : 0;
}

int VeloraManagerService::getActiveDevice() {
    mLastActiveDeviceQueryMs = uptimeMillis();
    return mActiveDevice;
}

int64_t VeloraManagerService::getDefaultXmlFormatVersion() {
    return mInitialized ? versionNumber(mManager->getDefaultXmlFormatVersion()) : int64_t{NO_INIT};
}

/// How one integer is read.
struct VeloraManagerService::IntKey {
    uint32_t key;
    int64_t (*read)(VeloraManagerService& service);

    /// Reads an operation or a member of the service.
    template <auto kMember>
    static int64_t of(VeloraManagerService& service) {
        return std::invoke(kMember, service);
    }
    /// Reads what is counted of the clients.
    template <auto kMember>
    static int64_t ofClients(VeloraManagerService& service) {
        return std::invoke(kMember, *service.mRegistry);
    }
};

const VeloraManagerService::IntKey VeloraManagerService::kIntKeys[] = {
    {velora::key::kActiveDevice, IntKey::of<&VeloraManagerService::getActiveDevice>},
    {velora::key::kSystemGain, IntKey::of<&VeloraManagerService::getZenithGameSystemGain>},
    {velora::key::kMobilityProfile, IntKey::of<&VeloraManagerService::isMobilityProfileSelected>},
    {velora::key::kChannelCount, IntKey::of<&VeloraManagerService::mChctValue>},
    {velora::key::kEffectOn, IntKey::of<&VeloraManagerService::getSfxEnabled>},
    {velora::key::kCpDecoder, IntKey::of<&VeloraManagerService::hasDecCP>},
    {velora::key::kDvDecoder, IntKey::of<&VeloraManagerService::hasDecDV>},
    {velora::key::kOutputChannels, IntKey::ofClients<&ClientRegistry::outputChannels>},
    {velora::key::kDialogEnhancerAmount,
     IntKey::of<&VeloraManagerService::getDialogEnhancerAmount>},
    {velora::key::kFormatVersion, IntKey::of<&VeloraManagerService::getDefaultXmlFormatVersion>},
    {velora::key::kGameEffect, IntKey::ofClients<&ClientRegistry::hasGameSfx>},
    {velora::key::kLastDeviceQuery, IntKey::of<&VeloraManagerService::mLastActiveDeviceQueryMs>},
    {velora::key::kLastCodecType, IntKey::ofClients<&ClientRegistry::lastCodecType>},
    {velora::key::kSpatializer, IntKey::ofClients<&ClientRegistry::hasSpatializer>},
    {velora::key::kMonoSpeaker, IntKey::of<&VeloraManagerService::isMonoInternalSpeaker>},
    {velora::key::kPortraitSpeaker, IntKey::of<&VeloraManagerService::isSpeakerPortraitMode>},
};

int64_t VeloraManagerService::getIntParam(uint32_t key) {
    for (const IntKey& row : kIntKeys) {
        if (row.key == key) return row.read(*this);
    }
    return kUnknownKey;
}

/// How one command of a get-request is answered.
struct VeloraManagerService::GetCommand {
    Command number;
    std::vector<int> (*answer)(SndManager& manager, const Words& request);
};

namespace {

/// An answer that needs no arguments: one integer.
template <auto kGetter>
std::vector<int> scalar(SndManager& manager, const Words& /*request*/) {
    return {static_cast<int>(std::invoke(kGetter, manager))};
}

std::vector<int> isProfileModified(SndManager& manager, const Words& request) {
    return {static_cast<int>(manager.isProfileModified(request[GetRequest::kFirstArgument]))};
}

std::vector<int> profileParameter(SndManager& manager, const Words& request) {
    const int profile = request[GetRequest::kSecondArgument];
    return manager.getParameter(profile, request[GetRequest::kFirstArgument]);
}

std::vector<int> profilePortParameter(SndManager& manager, const Words& request) {
    const auto [profile, port] =
        ProfileAndPort::of(request.byteAt(GetRequest::kSecondArgument * Words::kSize));
    return manager.getProfilePortParameter(profile, port, request[GetRequest::kFirstArgument]);
}

}  // namespace

const VeloraManagerService::GetCommand VeloraManagerService::kGetCommands[] = {
    {Command::SWITCH_EFFECT, scalar<&SndManager::getSndOn>},
    {Command::PROFILE_PARAMETER, profileParameter},
    {Command::PROFILE_PORT_PARAMETER, profilePortParameter},
    {Command::PROFILE_COUNT, scalar<&SndManager::getNumOfProfiles>},
    {Command::IEQ_PRESET_COUNT, scalar<&SndManager::getNumOfIeqPresets>},
    {Command::SELECTED_PROFILE, scalar<&SndManager::getSelectedProfile>},
    {Command::IS_PROFILE_MODIFIED, isProfileModified},
    {Command::IS_MONO_INTERNAL_SPEAKER, scalar<&SndManager::isMonoInternalSpeaker>},
};

int VeloraManagerService::getSfxParam(void* in, uint32_t inLen, void* out, uint32_t outLen) {
    if (!mInitialized) return NO_INIT;
    packAndReceiveParam(in, inLen, out, outLen);
    return OK;
}

void VeloraManagerService::packAndReceiveParam(const void* in, uint32_t inLen, void* out,
                                               uint32_t outLen) {
    // A short request is answered nevertheless: what is missing reads as zero.
    const Words request(in, inLen);
    if (request.size() < Words::kSize) ALOGE(kShortInputMessage, __func__);

    const Command number = velora::commandOf(request);
    const auto* const command =
        std::find_if(std::begin(kGetCommands), std::end(kGetCommands),
                     [&](const GetCommand& row) { return row.number == number; });
    if (command == std::end(kGetCommands)) return;

    const std::vector<int> answer = command->answer(*mManager, request);
    const size_t size = answer.size() * Words::kSize;
    if (size > outLen || (out == nullptr && size > 0)) {
        ALOGE(kShortOutputMessage, __func__);
    } else if (size > 0) {
        memcpy(out, answer.data(), size);
    }
}

}  // namespace android
