#pragma once

#include "model/ParameterValues.h"
#include "tuning/TagIterator.h"

#include <array>
#include <map>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace velora {

/// Reads the elements of one name in the tuning file into the parameters that they carry.
///
/// Owned by SetterCollection, which makes one per element name and never destroys it. Constant, so
/// any thread may use it; iterator and values are the caller's. Nothing fails: a missing attribute
/// counts as an empty text, and neither ranges nor lengths are checked.
class ValueSetter {
public:
    using Params = std::vector<Parameter>;

    ValueSetter(std::string_view nodeName, Params params)
        : mNodeName(nodeName), mParams(std::move(params)) {}
    virtual ~ValueSetter() = default;

    std::string_view getNodeName() const { return mNodeName; }
    /// Reads the current element of `it` and stores its parameters in `values`, replacing earlier
    /// values of theirs. `it` is at the same element afterwards.
    virtual void set(ParameterValues& values, TagIterator& it) const = 0;

protected:
    Parameter param(size_t position = 0) const { return mParams[position]; }
    /// Stores one list of values per parameter.
    void setAll(ParameterValues& values, std::span<const std::vector<int>> columns) const;

private:
    const std::string_view mNodeName;
    const Params mParams;  ///< at the index of their position in the element
};

/// One integer or boolean.
class SimpleValueSetter : public ValueSetter {
public:
    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// The integers of the first attribute.
class RowDataValueSetter : public ValueSetter {
public:
    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// A row that is {0} when it would be empty.
class DrcRowDataValueSetter : public RowDataValueSetter {
public:
    using RowDataValueSetter::RowDataValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// The rows of a matrix, one after the other.
class MixMatrixValueSetter : public ValueSetter {
public:
    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// A low and a high frequency, one integer each.
class VirtualBassValueSetter : public ValueSetter {
public:
    static constexpr std::array<std::string_view, 2> kAttrNames{"frequency_low", "frequency_high"};

    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Every attribute's value, as one list.
class VirtualBassSubgainValueSetter : public ValueSetter {
public:
    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Bands of an intelligent-equalizer preset, three levels below it. The list ends at an element
/// that isn't a "band_ieq". A band without a target ends the list of targets, not that of
/// frequencies.
class IeqValueSetter : public ValueSetter {
public:
    static constexpr std::array<std::string_view, 2> kAttrNames{"frequency", "target"};

    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Bands of a graphic-equalizer preset, three levels below it, whatever their name.
class GeqValueSetter : public ValueSetter {
public:
    static constexpr std::array<std::string_view, 2> kAttrNames{"frequency", "gain"};

    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Bands of the audio optimizer, one level below. A band that tunes two channels has no surround
/// gains, so the lists of these may be shorter.
class AudioOptimizerValueSetter : public ValueSetter {
public:
    static constexpr std::array<std::string_view, 5> kAttrNames{
        "frequency", "gain_left", "gain_right", "gain_left_surround", "gain_right_surround"};

    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Bands of the audio regulator, one level below. Only the word "true" makes a band isolated.
class RegulatorTuningValueSetter : public ValueSetter {
public:
    static constexpr std::array<std::string_view, 4> kAttrNames{"frequency", "threshold_low",
                                                                "threshold_high", "isolated_band"};

    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Finds the setter of an element by its name. The setters are made from the parameter catalogue
/// when the first collection is. Any thread may make one and look up.
class SetterCollection {
public:
    SetterCollection();

    /// Null if no element has this name. The setter lives as long as the process.
    const ValueSetter* getValueSetter(std::string_view name) const;

private:
    using Setters = std::vector<std::unique_ptr<const ValueSetter>>;

    static const Setters& allValueSetters();

    std::map<std::string_view, const ValueSetter*> mSetters;
};

}  // namespace velora
