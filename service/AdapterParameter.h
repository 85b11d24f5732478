#pragma once

#include "model/Parameter.h"

#include <array>
#include <cstddef>

namespace velora {

/// Where a client-facing parameter is kept, which decides how it is read and written.
enum class Scope {
    PROFILE,   ///< on the profile
    ENDPOINT,  ///< on each of the profile's endpoints
    /// On each endpoint in headphone virtualizer mode 1. In the other modes it is the first value
    /// of the profile's rendering configuration, and setting it resets that configuration.
    STEERING,
    HEADPHONE,   ///< on the headphone endpoint alone
    SPEAKER,     ///< on the speaker endpoint alone
    GEQ_PRESET,  ///< on the profile's GEQ preset
};

/// One of the numbered settings that clients read and write without knowing where they are kept.
struct AdapterParameter {
    int id;
    Parameter parameter;
    Scope scope;
    int min;     ///< smallest value that is stored
    int max;     ///< largest value that is stored, or kUpToIeqPresets
    int length;  ///< number of values
};

/// As a maximum: the number of IEQ presets.
inline constexpr int kUpToIeqPresets = -1;

inline constexpr int kFirstAdapterParameter = 100;

// The parameters that other code names.
inline constexpr int kGraphicEqualizerEnable = 105;
inline constexpr int kDialogEnhancerDucking = 108;
inline constexpr int kVirtualBassEnable = 111;
inline constexpr int kSteererSourceDistance = 112;

/// Ascending by number, without a gap.
inline constexpr auto kAdapterParameters = std::to_array<AdapterParameter>({
    {100, VIRTUALIZER_ENABLE, Scope::HEADPHONE, 0, 1, 1},
    {101, VIRTUALIZER_ENABLE, Scope::SPEAKER, 0, 1, 1},
    {102, VOLUME_LEVELER_ENABLE, Scope::ENDPOINT, 0, 1, 1},
    {103, IEQ_ID, Scope::ENDPOINT, 0, kUpToIeqPresets, 1},
    {104, DIALOG_ENHANCER_ENABLE, Scope::ENDPOINT, 0, 1, 1},
    {kGraphicEqualizerEnable, GRAPHIC_EQUALIZER_ENABLE, Scope::ENDPOINT, 0, 1, 1},
    {106, IEQ_AMOUNT, Scope::ENDPOINT, 0, 16, 1},
    {107, DIALOG_ENHANCER_AMOUNT, Scope::ENDPOINT, 0, 16, 1},
    {kDialogEnhancerDucking, DIALOG_ENHANCER_DUCKING, Scope::ENDPOINT, 0, 16, 1},
    {109, GEQ_GAIN, Scope::GEQ_PRESET, -576, 576, 20},
    {110, BASS_ENHANCER_ENABLE, Scope::ENDPOINT, 0, 1, 1},
    {kVirtualBassEnable, VIRTUAL_BASS_ENABLE, Scope::ENDPOINT, 0, 1, 1},
    {kSteererSourceDistance, HEADPHONE_VIRTUALIZER_STEERER_SOURCE_DISTANCE, Scope::STEERING, 4, 160,
     1},
    {113, REVERB_SUPPRESSION_ENABLE, Scope::PROFILE, 0, 1, 1},
    {114, REVERB_SUPPRESSION_AMOUNT, Scope::PROFILE, 0, 9, 1},
    {115, VOLUME_LEVELER_AMOUNT, Scope::ENDPOINT, 0, 10, 1},
});

static_assert([] {
    for (size_t i = 0; i < kAdapterParameters.size(); ++i) {
        if (kAdapterParameters[i].id != kFirstAdapterParameter + static_cast<int>(i)) return false;
    }
    return true;
}());

}  // namespace velora
