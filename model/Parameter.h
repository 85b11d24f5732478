#pragma once

#include "util/ConstMap.h"
#include "util/LowerCase.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace velora {

/// The tunable quantities of the effect, 0 to 103 in the order of their database columns. The value
/// of each is a list of 32-bit integers; a scalar is a list of one.
enum Parameter : int32_t {
#define PARAMETER(enumerator, ...) enumerator,
#include "model/Parameters.def"
#undef PARAMETER
};

/// How the element of the tuning file that carries a parameter is read.
enum class NodeKind {
    NONE,             ///< not read from an element of its own
    VALUE,            ///< one integer or boolean
    ROW,              ///< a list of integers in one attribute
    DRC_ROW,          ///< a row that is never empty
    MIX_MATRIX,       ///< the rows of a matrix, concatenated
    FREQUENCY_PAIR,   ///< a low and a high frequency
    ATTRIBUTES,       ///< one integer per attribute
    IEQ_BANDS,        ///< bands of an intelligent-equalizer preset
    GEQ_BANDS,        ///< bands of a graphic-equalizer preset
    OPTIMIZER_BANDS,  ///< bands of the audio optimizer
    REGULATOR_BANDS,  ///< bands of the audio regulator
};

/// The kinds of record that carry parameters; a parameter belongs to at most one of them.
enum class RecordKind { NONE, TUNING, PROFILE, PROFILE_ENDPOINT, GEQ_PRESET, IEQ_PRESET };

/// One row of the catalogue of parameters.
struct ParameterInfo {
    Parameter parameter;
    std::string_view column;   ///< database column and name in texts; followed by a NUL
    std::string_view element;  ///< element of the tuning file; empty if it has none of its own
    NodeKind kind;
    int position;  ///< index among the parameters that the element carries, from 0
    RecordKind record;
};

namespace detail {

template <size_t N>
struct Text {
    char chars[N]{};
};

template <size_t N>
consteval Text<N> lowerCaseOf(const char (&text)[N]) {
    Text<N> lower;
    for (size_t i = 0; i < N; ++i) lower.chars[i] = lowerCase(text[i]);
    return lower;
}

#define PARAMETER(enumerator, ...) \
    inline constexpr auto kColumn_##enumerator = lowerCaseOf(#enumerator);
#include "model/Parameters.def"
#undef PARAMETER

}  // namespace detail

/// The catalogue: one row per parameter, at the index of its number.
inline constexpr auto kParameters = std::to_array<ParameterInfo>({
#define PARAMETER(enumerator, element, kind, position, record)                                 \
    {enumerator,        detail::kColumn_##enumerator.chars, element, NodeKind::kind, position, \
     RecordKind::record},
#include "model/Parameters.def"
#undef PARAMETER
});
inline constexpr size_t kNumParameters = kParameters.size();

/// Whether `number` is one of the 104 parameters.
constexpr bool isParameter(int32_t number) {
    return static_cast<uint32_t>(number) < kNumParameters;
}

/// The row of a parameter, which must be one of the 104.
constexpr const ParameterInfo& parameterInfo(Parameter parameter) {
    return kParameters[static_cast<size_t>(parameter)];
}

/// Database column -> parameter.
inline constexpr ConstMap<std::string_view, Parameter, kNumParameters> kParameterOfColumn([] {
    std::array<std::pair<std::string_view, Parameter>, kNumParameters> pairs{};
    for (size_t i = 0; i < pairs.size(); ++i) {
        pairs[i] = {kParameters[i].column, kParameters[i].parameter};
    }
    return pairs;
}());

static_assert(kNumParameters == 104);

// Guards the rows of the table against an unintended change of their kind.
static_assert([] {
    const auto count = [](NodeKind kind) {
        return std::count_if(kParameters.begin(), kParameters.end(),
                             [&](const ParameterInfo& info) { return info.kind == kind; });
    };
    return count(NodeKind::VALUE) == 64 && count(NodeKind::ROW) == 16 &&
           count(NodeKind::DRC_ROW) == 1 && count(NodeKind::MIX_MATRIX) == 1 &&
           count(NodeKind::FREQUENCY_PAIR) == 4 && count(NodeKind::ATTRIBUTES) == 1 &&
           count(NodeKind::IEQ_BANDS) == 2 && count(NodeKind::GEQ_BANDS) == 2 &&
           count(NodeKind::OPTIMIZER_BANDS) == 5 && count(NodeKind::REGULATOR_BANDS) == 4;
}());
static_assert(kParameterOfColumn.isUnique());
static_assert([] {
    for (size_t i = 0; i < kNumParameters; ++i) {
        if (kParameters[i].parameter != static_cast<Parameter>(i)) return false;
    }
    return true;
}());

}  // namespace velora
