#define LOG_TAG "SfxController"

#include "effect/SfxController.h"

#include "context/SndContext.h"
#include "effect/SetParamCommand.h"
#include "effect/SfxEffect.h"

#include <log/log.h>

namespace velora {

SfxController::SfxController(SfxEffect& effect) : mContext(mTranslators), mEffect(&effect) {}

void SfxController::onLoad(SndContext& context) {
    ALOGI("onLoad()");
    takeProfile(context);
    for (const auto& [port, device] : SfxContext::kDeviceForPort) {
        if (!takeEndpoint(context, port)) ALOGE("No profile endpoint found for port : %d", port);
        if (Tuning* const tuning = context.getSelectedTuning(port)) {
            mContext.setTuning(port, *tuning);
        } else {
            ALOGE("No tuning found for port : %s", portInfo(port).name.data());
        }
    }
    sendParameters(kAllDevices);
}

void SfxController::onSfxOnChanged(SndContext&, bool) {}

void SfxController::onSelectedProfileChanged(SndContext& context) {
    ALOGI("Profile Changed to %s", context.getSelectedProfile()->getName().c_str());
    takeProfile(context);
    for (const auto& [port, device] : SfxContext::kDeviceForPort) takeEndpoint(context, port);
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
    mContext.setTuning(port, tuning);
    const DeviceParameters* const view = mContext.getDeviceParameters(port);
    if (view != nullptr && view->getProfileEndpoint() != context.getSelectedProfileEndpoint(port)) {
        takeEndpoint(context, port);
    }
    sendParameters(kAllDevices);
}

void SfxController::takeProfile(SndContext& context) {
    mContext.setProfile(*context.getSelectedProfile());
    mContext.setGeqPreset(*context.getSelectedProfileGeq());
}

bool SfxController::takeEndpoint(SndContext& context, Port port) {
    ProfileEndpoint* const endpoint = context.getSelectedProfileEndpoint(port);
    if (endpoint == nullptr) return false;
    mContext.setProfileEndpoint(port, *endpoint);
    mContext.setIeqPreset(port, *context.getSelectedProfileIeq(port));
    return true;
}

void SfxController::sendParameters(AndroidDevice target) {
    SetParamCommand command(target);
    for (auto& [device, translator] : mTranslators) {
        command.setDeviceId(device);
        translator.translatePending(command);
    }
    command.execute(*mEffect);
}

void SfxController::setSfxEffect(SfxEffect& effect, SndContext& context) {
    mEffect = &effect;
    SetParamCommand command(kAllDevices);
    for (auto& [device, translator] : mTranslators) {
        command.setDeviceId(device);
        translator.translateAll(command);
    }
    command.execute(effect);
    effect.setEnabled(context.getSfxOn());
}

}  // namespace velora
