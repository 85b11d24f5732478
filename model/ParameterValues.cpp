#include "model/ParameterValues.h"

#include <algorithm>
#include <utility>

namespace velora {

namespace {

constexpr auto kBefore = [](const ParameterValues::Entry& entry, Parameter parameter) {
    return entry.parameter < parameter;
};

}  // namespace

std::vector<ParameterValues::Entry>::iterator ParameterValues::placeOf(Parameter parameter) {
    return std::lower_bound(mValues.begin(), mValues.end(), parameter, kBefore);
}

ParameterValues::Entry& ParameterValues::entryOf(Parameter parameter) {
    if (mValues.empty()) mValues.reserve(getValidParams().size());
    auto place = placeOf(parameter);
    if (place == mValues.end() || place->parameter != parameter) {
        place = mValues.insert(place, {parameter, {}});
    }
    return *place;
}

void ParameterValues::set(Parameter parameter, Values values) {
    if (!isParameter(parameter)) return;
    entryOf(parameter).values = std::move(values);
    setDirty(true);
}

bool ParameterValues::checkAndUpdate(Parameter parameter, Values values) {
    if (!getValidParams().contains(parameter)) return false;
    if (entryOf(parameter).values == values) return false;
    set(parameter, std::move(values));
    return true;
}

ParameterSet ParameterValues::completeTo(const ParameterSet& params) {
    ParameterSet dropped;
    std::erase_if(mValues, [&](const Entry& entry) {
        if (params.contains(entry.parameter)) return false;
        dropped = dropped | entry.parameter;
        return true;
    });
    mValues.reserve(params.size());
    for (const Parameter parameter : params) entryOf(parameter);
    return dropped;
}

const ParameterValues::Values* ParameterValues::find(Parameter parameter) const {
    const auto place = std::lower_bound(mValues.begin(), mValues.end(), parameter, kBefore);
    return place != mValues.end() && place->parameter == parameter ? &place->values : nullptr;
}

const ParameterValues::Values& ParameterValues::get(Parameter parameter) const {
    static const auto* const kEmpty = new Values();
    const Values* const values = find(parameter);
    return values != nullptr ? *values : *kEmpty;
}

int ParameterValues::firstOf(Parameter parameter, int fallback) const {
    const Values& values = get(parameter);
    return values.empty() ? fallback : values.front();
}

std::string ParameterValues::valuesToString() const {
    std::string text;
    for (const auto& [parameter, values] : mValues) {
        if (parameter == IEQ_ID) continue;  // a preset shows its number itself
        text.append(parameterInfo(parameter).column).push_back('=');
        for (const int value : values) text.append(std::to_string(value)).push_back(',');
        text.push_back('\n');
    }
    return text;
}

}  // namespace velora
