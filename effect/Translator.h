#pragma once

#include "model/ParameterValues.h"
#include "model/Port.h"

#include <array>
#include <cstddef>
#include <span>

namespace velora {

class SetParamCommand;

/// Turns some of the system's parameters into entries of the effect's.
struct Translator {
    /// A change of any of these makes the translator due. No parameter has two translators.
    std::span<const Parameter> srcParams;
    /// Appends one or more entries for the values in `source`. Values that are missing make an
    /// entry shorter, never absent.
    void (*sfxTranslate)(SetParamCommand& command, ParameterValues& source, Endpoint endpoint,
                         bool mono);
};

/// Every translator, in the order in which the entries of a device are sent.
inline constexpr size_t kNumTranslators = 77;
extern const std::array<Translator, kNumTranslators> kAllTranslators;

/// The translator that owns a parameter; null if none does.
const Translator* getTranslator(Parameter parameter);

}  // namespace velora
