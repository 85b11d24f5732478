#include "effect/SfxContext.h"

namespace velora {

SfxContext::SfxContext(ParameterTranslators& translators)
    : mProfileParameters(&translators[kAllDevices]) {
    for (const auto& [port, device] : kDeviceForPort) {
        mDeviceParameters.try_emplace(device, &translators[device]);
    }
}

ParameterValues* SfxContext::getParameters(AndroidDevice device) {
    if (device == kAllDevices) return &mProfileParameters;
    const auto found = mDeviceParameters.find(device);
    return found != mDeviceParameters.end() ? &found->second : nullptr;
}

DeviceParameters* SfxContext::getDeviceParameters(Port port) {
    const AndroidDevice* const device = kDeviceForPort.find(port);
    return device != nullptr ? &mDeviceParameters.at(*device) : nullptr;
}

void SfxContext::setProfile(Profile& profile) {
    mProfileParameters.setProfile(profile);
    for (auto& [device, parameters] : mDeviceParameters) parameters.setProfile(profile);
}

void SfxContext::setGeqPreset(GeqPreset& preset) { mProfileParameters.setGeqPreset(preset); }

void SfxContext::setProfileEndpoint(Port port, ProfileEndpoint& endpoint) {
    if (auto* const view = getDeviceParameters(port)) view->setProfileEndpoint(endpoint);
}

void SfxContext::setIeqPreset(Port port, IeqPreset& preset) {
    if (auto* const view = getDeviceParameters(port)) view->setIeqPreset(preset);
}

void SfxContext::setTuning(Port port, Tuning& tuning) {
    if (auto* const view = getDeviceParameters(port)) view->setTuning(tuning);
}

}  // namespace velora
