#pragma once

#include "effect/DeviceParameters.h"
#include "effect/ParameterTranslator.h"
#include "effect/ProfileParameters.h"
#include "model/Port.h"

#include <map>

namespace velora {

/// A translator per output device, and one under `kAllDevices` for what applies to all of them.
using ParameterTranslators = std::map<AndroidDevice, ParameterTranslator>;
inline constexpr AndroidDevice kAllDevices = AUDIO_DEVICE_OUT_DEFAULT;

/// What the effect is to have: the profile's parameters, and those of each output device.
///
/// Owned by the effect's controller and used as it is, by one thread at a time. Owns the views; the
/// records that are handed in stay the store's and must stand as long as they are in force. A port
/// without a device is ignored.
class SfxContext {
public:
    static constexpr const auto& kDeviceForPort = velora::kDeviceForPort;
    static constexpr const auto& kPortForDevice = velora::kPortForDevice;

    /// `translators` are told what changes and must stand as long as this; those that are missing
    /// are added.
    explicit SfxContext(ParameterTranslators& translators);

    /// The view of a device, or the profile's for `kAllDevices`; null for any other.
    ParameterValues* getParameters(AndroidDevice device);
    /// Null for a port without a device.
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
