#define LOG_TAG "ValueSetter"

#include "tuning/ValueSetter.h"

#include "tuning/ElementsBelow.h"
#include "tuning/NodeParseUtils.h"
#include "util/Integers.h"

#include <string>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kNoBandMessage[] = "No attribute band_ieq was found!";

using Texts = std::vector<std::string>;

/// Replaces `texts` by the named attributes of the current element; an attribute that it doesn't
/// have is an empty text.
void readBand(const TagIterator& it, TagIterator::Names names, Texts& texts) {
    texts.assign(names.size(), {});
    it.parseNodeWithName(names, texts);
}

/// Reads a list of bands of two columns, three levels below the current element. The list ends at
/// the first element that isn't called `bandName`, unless that is empty.
std::array<std::vector<int>, 2> readPresetBands(TagIterator& it, TagIterator::Names names,
                                                std::string_view bandName) {
    std::array<std::string, 2> columns;
    Texts band;
    for (ElementsBelow bands(it, 3); bands; bands.next()) {
        if (!bandName.empty() && it.getNodeName() != bandName) {
            ALOGI(kNoBandMessage);
            break;
        }
        readBand(it, names, band);
        for (size_t i = 0; i < columns.size(); ++i) columns[i].append(band[i]).push_back(',');
    }

    // Each column is converted as one text, so that it ends at the first band without a number.
    std::array<std::vector<int>, 2> values;
    for (size_t i = 0; i < columns.size(); ++i) string2IntVector(columns[i], values[i]);
    return values;
}

/// Reads a list of bands one level below the current element. `append(i, text, column)` adds the
/// text of a band's attribute `names[i]` to the column of that attribute.
template <size_t N, typename Append>
std::array<std::vector<int>, N> readBands(TagIterator& it,
                                          const std::array<std::string_view, N>& names,
                                          Append append) {
    std::array<std::vector<int>, N> columns;
    Texts band;
    for (ElementsBelow bands(it); bands; bands.next()) {
        readBand(it, names, band);
        for (size_t i = 0; i < N; ++i) append(i, band[i], columns[i]);
    }
    return columns;
}

}  // namespace

void ValueSetter::setAll(ParameterValues& values, std::span<const std::vector<int>> columns) const {
    for (size_t i = 0; i < columns.size(); ++i) values.set(mParams[i], columns[i]);
}

void SimpleValueSetter::set(ParameterValues& values, TagIterator& it) const {
    values.set(param(), {NodeParseUtils::parseValue(it)});
}

void RowDataValueSetter::set(ParameterValues& values, TagIterator& it) const {
    values.set(param(), NodeParseUtils::parseDataRow(it));
}

void DrcRowDataValueSetter::set(ParameterValues& values, TagIterator& it) const {
    RowDataValueSetter::set(values, it);
    if (values.get(param()).empty()) values.set(param(), {0});
}

void MixMatrixValueSetter::set(ParameterValues& values, TagIterator& it) const {
    values.set(param(), NodeParseUtils::parseMixMatrix(it));
}

void VirtualBassValueSetter::set(ParameterValues& values, TagIterator& it) const {
    for (size_t i = 0; i < kAttrNames.size(); ++i) {
        values.set(param(i), {string2Int(it.getAttr(kAttrNames[i]))});
    }
}

void VirtualBassSubgainValueSetter::set(ParameterValues& values, TagIterator& it) const {
    std::vector<int> gains;
    it.parseNodeIntVector(gains);
    values.set(param(), std::move(gains));
}

void IeqValueSetter::set(ParameterValues& values, TagIterator& it) const {
    setAll(values, readPresetBands(it, kAttrNames, "band_ieq"));
}

void GeqValueSetter::set(ParameterValues& values, TagIterator& it) const {
    setAll(values, readPresetBands(it, kAttrNames, ""));
}

void AudioOptimizerValueSetter::set(ParameterValues& values, TagIterator& it) const {
    constexpr size_t kFirstSurround = 3;  // in kAttrNames
    const auto append = [](size_t i, const std::string& text, std::vector<int>& gains) {
        if (i < kFirstSurround || !text.empty()) gains.push_back(string2Int(text));
    };
    setAll(values, readBands(it, kAttrNames, append));
}

void RegulatorTuningValueSetter::set(ParameterValues& values, TagIterator& it) const {
    constexpr size_t kIsolatedBand = 3;  // in kAttrNames
    const auto append = [](size_t i, const std::string& text, std::vector<int>& column) {
        column.push_back(i == kIsolatedBand ? text == "true" : string2Int(text));
    };
    setAll(values, readBands(it, kAttrNames, append));
}

namespace {

using MakeSetter = std::unique_ptr<const ValueSetter> (*)(std::string_view element,
                                                          ValueSetter::Params params);

template <typename Setter>
std::unique_ptr<const ValueSetter> make(std::string_view element, ValueSetter::Params params) {
    return std::make_unique<const Setter>(element, std::move(params));
}

MakeSetter makerFor(NodeKind kind) {
    switch (kind) {
        case NodeKind::NONE:
            break;
        case NodeKind::VALUE:
            return make<SimpleValueSetter>;
        case NodeKind::ROW:
            return make<RowDataValueSetter>;
        case NodeKind::DRC_ROW:
            return make<DrcRowDataValueSetter>;
        case NodeKind::MIX_MATRIX:
            return make<MixMatrixValueSetter>;
        case NodeKind::FREQUENCY_PAIR:
            return make<VirtualBassValueSetter>;
        case NodeKind::ATTRIBUTES:
            return make<VirtualBassSubgainValueSetter>;
        case NodeKind::IEQ_BANDS:
            return make<IeqValueSetter>;
        case NodeKind::GEQ_BANDS:
            return make<GeqValueSetter>;
        case NodeKind::OPTIMIZER_BANDS:
            return make<AudioOptimizerValueSetter>;
        case NodeKind::REGULATOR_BANDS:
            return make<RegulatorTuningValueSetter>;
    }
    return nullptr;
}

/// The parameters that an element carries, at the index of their position in it.
ValueSetter::Params paramsOf(std::string_view element) {
    ValueSetter::Params params;
    for (const ParameterInfo& info : kParameters) {
        if (info.element != element) continue;
        const auto position = static_cast<size_t>(info.position);
        if (params.size() <= position) params.resize(position + 1);
        params[position] = info.parameter;
    }
    return params;
}

}  // namespace

const SetterCollection::Setters& SetterCollection::allValueSetters() {
    static const Setters* const kAllValueSetters = [] {
        auto* const setters = new Setters();
        for (const ParameterInfo& info : kParameters) {
            if (info.kind == NodeKind::NONE || info.position != 0) continue;
            setters->push_back(makerFor(info.kind)(info.element, paramsOf(info.element)));
        }
        return setters;
    }();
    return *kAllValueSetters;
}

SetterCollection::SetterCollection() {
    for (const auto& setter : allValueSetters()) mSetters[setter->getNodeName()] = setter.get();
}

const ValueSetter* SetterCollection::getValueSetter(std::string_view name) const {
    const auto place = mSetters.find(name);
    return place != mSetters.end() ? place->second : nullptr;
}

}  // namespace velora
