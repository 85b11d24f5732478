#pragma once

#include "effect/DeviceParameters.h"
#include "effect/ParameterTranslator.h"
#include "effect/ProfileParameters.h"
#include "model/Port.h"

#include <map>

namespace velora {

/// One translator per output device, and under `kAllDevices` the one for the parameters that apply
/// to all of them.
using ParameterTranslators = std::map<AndroidDevice, ParameterTranslator>;
inline constexpr AndroidDevice kAllDevices = AUDIO_DEVICE_OUT_DEFAULT;

/// The state that the effect should have: the parameters of the selected profile and those of each
/// output device, as one view each.
///
/// The effect's controller owns it. It owns the views; the store owns the records, which must
/// remain valid until they are replaced. One thread at a time. A call for a port without an output
/// device has no effect.
class SfxContext {
public:
    static constexpr const auto& kDeviceForPort = velora::kDeviceForPort;
    static constexpr const auto& kPortForDevice = velora::kPortForDevice;

    /// Makes `translators` the observers of the views and adds those that are missing. They must
    /// remain valid as long as this is used.
    explicit SfxContext(ParameterTranslators& translators);

    /// The view of an output device, or the profile's view for `kAllDevices`; null for any other.
    /// Part of the vendor's contract, without a caller here.
    ParameterValues* getParameters(AndroidDevice device);
    /// The view of the port's output device; null for a port without one.
    DeviceParameters* getDeviceParameters(Port port);

    void setProfile(Profile& profile);
    void setGeqPreset(GeqPreset& preset);
    void setProfileEndpoint(Port port, ProfileEndpoint& endpoint);
    void setIeqPreset(Port port, IeqPreset& preset);
    void setTuning(Port port, Tuning& tuning);

private:
    ProfileParameters mProfileParameters;
    std::map<AndroidDevice, DeviceParameters> mDeviceParameters;
};

}  // namespace velora
