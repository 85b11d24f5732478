#pragma once

#include "model/ParameterValues.h"
#include "tuning/TagIterator.h"

#include <array>
#include <map>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace velora {

/// Reads one kind of element of the tuning file into the parameters that it carries.
///
/// One object per element name, made on first use from the parameter catalogue and never destroyed.
/// Constant, so any thread may use it; iterator and values are the caller's. Nothing fails: a
/// missing attribute counts as an empty text, and no range or length is checked.
class ValueSetter {
public:
    using Params = std::vector<Parameter>;

    ValueSetter(std::string_view nodeName, Params params)
        : mNodeName(nodeName), mParams(std::move(params)) {}
    virtual ~ValueSetter() = default;

    std::string_view getNodeName() const { return mNodeName; }
    /// Stores the parameters of the element that `it` stands on, over what `values` had of them.
    /// `it` stands there again afterwards.
    virtual void set(ParameterValues& values, TagIterator& it) const = 0;

protected:
    Parameter param(size_t position = 0) const { return mParams[position]; }

private:
    const std::string_view mNodeName;
    const Params mParams;  ///< in the order of their positions in the element
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

/// Bands of an intelligent-equaliser preset, three levels below it; the list ends at an element
/// that is no band. A band without a target ends the targets, not the frequencies.
class IeqValueSetter : public ValueSetter {
public:
    static constexpr std::array<std::string_view, 2> kAttrNames{"frequency", "target"};

    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Bands of a graphic-equaliser preset, three levels below it, whatever their name.
class GeqValueSetter : public ValueSetter {
public:
    static constexpr std::array<std::string_view, 2> kAttrNames{"frequency", "gain"};

    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Bands of the audio optimiser, one level below. The surround gains are left out where a band has
/// none, so their lists may be shorter.
class AudioOptimizerValueSetter : public ValueSetter {
public:
    static constexpr std::array<std::string_view, 5> kAttrNames{
        "frequency", "gain_left", "gain_right", "gain_left_surround", "gain_right_surround"};

    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Bands of the audio regulator, one level below. A band is isolated by the word "true" alone.
class RegulatorTuningValueSetter : public ValueSetter {
public:
    static constexpr std::array<std::string_view, 4> kAttrNames{"frequency", "threshold_low",
                                                                "threshold_high", "isolated_band"};

    using ValueSetter::ValueSetter;
    void set(ParameterValues& values, TagIterator& it) const override;
};

/// Finds the setter of an element. Any thread may look up.
class SetterCollection {
public:
    SetterCollection();

    /// The setter that answers to the name, or null.
    const ValueSetter* getValueSetter(std::string_view name) const;
    size_t size() const { return mSetters.size(); }

private:
    using Setters = std::vector<std::unique_ptr<const ValueSetter>>;

    static const Setters& allValueSetters();

    std::map<std::string_view, const ValueSetter*> mSetters;
};

}  // namespace velora
