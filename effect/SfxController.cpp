#define LOG_TAG "SfxController"

#include "effect/SfxController.h"

#include "context/SndContext.h"
#include "effect/SetParamCommand.h"
#include "effect/SfxEffect.h"

#include <utility>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kOnLoadMessage[] = "onLoad()";
constexpr char kProfileChangedMessage[] = "Profile Changed to %s";
constexpr char kNoEndpointMessage[] = "No profile endpoint found for port : %d";
constexpr char kNoTuningMessage[] = "No tuning found for port : %s";

}  // namespace

SfxController::SfxController(SfxEffect& effect) : mContext(mTranslators), mEffect(&effect) {}

void SfxController::onLoad(SndContext& context) {
    ALOGI(kOnLoadMessage);
    updateProfile(context);

    for (const auto& [port, device] : SfxContext::kDeviceForPort) {
        if (!updateEndpoint(context, port)) ALOGE(kNoEndpointMessage, port);

        if (Tuning* const tuning = context.getSelectedTuning(port)) {
            updateTuning(port, *tuning);
        } else {
            ALOGE(kNoTuningMessage, portInfo(port).name.data());
        }
    }

    sendParameters(kAllDevices);
}

void SfxController::onSfxOnChanged(SndContext&, bool) {}

void SfxController::onSelectedProfileChanged(SndContext& context) {
    ALOGI(kProfileChangedMessage, context.getSelectedProfile()->getName().c_str());

    updateProfile(context);
    for (const auto& [port, device] : SfxContext::kDeviceForPort) updateEndpoint(context, port);
    sendParameters(kAllDevices);
}

void SfxController::onSelectedProfileParameterChanged(SndContext&, Profile& profile) {
    mContext.setProfile(profile);
    sendParameters(kAllDevices);
}

void SfxController::onSelectedProfileEndpointChanged(SndContext&, Port port,
                                                     ProfileEndpoint& endpoint) {
    mContext.setProfileEndpoint(port, endpoint);
    sendParameters(kAllDevices);
}

void SfxController::onSelectedProfileIeqChanged(SndContext&, Port port, IeqPreset& preset) {
    mContext.setIeqPreset(port, preset);
    sendParameters(kAllDevices);
}

void SfxController::onSelectedProfileGeqChanged(SndContext&, GeqPreset& preset) {
    mContext.setGeqPreset(preset);
    sendParameters(kAllDevices);
}

void SfxController::onSelectedTuningChanged(SndContext& context, Port port, Tuning& tuning) {
    updateTuning(port, tuning);

    // A tuning of another class of output selects another endpoint, with its own IEQ preset.
    const DeviceParameters* const view = mContext.getDeviceParameters(port);
    if (view != nullptr && view->getProfileEndpoint() != context.getSelectedProfileEndpoint(port)) {
        updateEndpoint(context, port);
    }

    sendParameters(kAllDevices);
}

void SfxController::updateProfile(SndContext& context) {
    mContext.setProfile(*context.getSelectedProfile());
    mContext.setGeqPreset(*context.getSelectedProfileGeq());
}

bool SfxController::updateEndpoint(SndContext& context, Port port) {
    ProfileEndpoint* const endpoint = context.getSelectedProfileEndpoint(port);
    if (endpoint == nullptr) return false;

    mContext.setProfileEndpoint(port, *endpoint);
    mContext.setIeqPreset(port, *context.getSelectedProfileIeq(port));
    return true;
}

void SfxController::updateTuning(Port port, Tuning& tuning) {
    mContext.setTuning(port, tuning);

    const AndroidDevice* const device = SfxContext::kDeviceForPort.find(port);
    if (device == nullptr) return;
    const DeviceParameters& view = *mContext.getDeviceParameters(port);
    const OutputKind kind{tuning.getEndpoint(), tuning.isMono(), view.firstOf(OUTPUT_CHANNELS, 0),
                          view.firstOf(BASS_MBDRC_ENABLE, 0),
                          view.firstOf(REGULATOR_SIBILANCE_SUPPRESS_ENABLE, 0)};
    const auto [former, isFirst] = mKinds.try_emplace(*device, kind);
    if (!isFirst && std::exchange(former->second, kind) != kind) mToSendWhole.insert(*device);
}

void SfxController::sendParameters(AndroidDevice target) {
    SetParamCommand command(target);
    for (auto& [device, translator] : mTranslators) {
        command.setDeviceId(device);
        if (mToSendWhole.erase(device) > 0) {
            translator.translateAll(command);
        } else {
            translator.translatePending(command);
        }
    }
    command.execute(*mEffect);
}

void SfxController::setSfxEffect(SfxEffect& effect, SndContext& context) {
    mEffect = &effect;

    // The new effect has received nothing so far.
    SetParamCommand command(kAllDevices);
    for (auto& [device, translator] : mTranslators) {
        command.setDeviceId(device);
        translator.translateAll(command);
    }
    command.execute(effect);

    effect.setEnabled(context.getSfxOn());
}

}  // namespace velora
