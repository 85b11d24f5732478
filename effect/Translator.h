#pragma once

#include "model/ParameterValues.h"
#include "model/Port.h"

#include <array>
#include <cstddef>
#include <span>

namespace velora {

class SetParamCommand;

/// Translates one or more parameters of the system into parameters of the effect. Constant, so any
/// thread may use it.
struct Translator {
    /// A change of any of these makes the translator pending. No parameter has two translators.
    std::span<const Parameter> srcParams;
    /// Appends one or more entries for the values in `source`. A missing value makes its entry
    /// shorter; no entry is left out. Adds an empty entry to the source for a simple translator's
    /// parameter that has none.
    void (*sfxTranslate)(SetParamCommand& command, ParameterValues& source, Endpoint endpoint,
                         bool mono);
};

/// All translators, in the order in which the entries of an output device are sent.
inline constexpr size_t kNumTranslators = 77;
extern const std::array<Translator, kNumTranslators> kAllTranslators;

/// The translator of a parameter; null if it has none.
const Translator* getTranslator(Parameter parameter);

}  // namespace velora
