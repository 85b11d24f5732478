#pragma once

#include "util/LowerCase.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <velora/EffectParamParser.h>

namespace velora {

/// The parameters of the audio effect.
enum class SfxParameter : int32_t {
#define SFX_PARAMETER(name) name,
#include "effect/SfxParameters.def"
#undef SFX_PARAMETER
};

/// Their short names, each at the index of its number.
inline constexpr auto kSfxParameterNames = std::to_array<std::string_view>({
#define SFX_PARAMETER(name) #name,
#include "effect/SfxParameters.def"
#undef SFX_PARAMETER
});
inline constexpr size_t kNumSfxParameters = kSfxParameterNames.size();

/// The number by which the effect knows the parameter with this short name: the characters in lower
/// case, the first in the least significant byte. 0 for an empty name and for one of more than four
/// characters.
constexpr SfxParameterId sfxCodeOf(std::string_view name) {
    if (name.size() > sizeof(SfxParameterId)) return 0;
    SfxParameterId code = 0;
    for (size_t i = name.size(); i-- > 0;) {
        code = code << 8 | static_cast<uint8_t>(lowerCase(name[i]));
    }
    return code;
}

namespace detail {

inline constexpr auto kSfxCodes = [] {
    std::array<SfxParameterId, kNumSfxParameters> codes{};
    for (size_t i = 0; i < codes.size(); ++i) codes[i] = sfxCodeOf(kSfxParameterNames[i]);
    return codes;
}();

}  // namespace detail

constexpr SfxParameterId sfxCodeOf(SfxParameter parameter) {
    return detail::kSfxCodes[static_cast<size_t>(parameter)];
}

static_assert(sfxCodeOf("") == 0 && sfxCodeOf("VBONX") == 0 && sfxCodeOf("Z") == 'z');
static_assert(kNumSfxParameters == 91);
static_assert(static_cast<size_t>(SfxParameter::SDFA) == kNumSfxParameters - 1);
static_assert([] {
    auto codes = detail::kSfxCodes;
    std::sort(codes.begin(), codes.end());
    return codes.front() != 0 && std::adjacent_find(codes.begin(), codes.end()) == codes.end();
}());

}  // namespace velora
