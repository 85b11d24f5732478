#include "model/ParameterValues.h"

#include <algorithm>
#include <utility>

namespace velora {

namespace {

/// The first entry that isn't before `parameter`: its own, or where it belongs.
template <typename Entries>
auto lowerBound(Entries& entries, Parameter parameter) {
    return std::lower_bound(
        entries.begin(), entries.end(), parameter,
        [](const ParameterValues::Entry& entry, Parameter p) { return entry.parameter < p; });
}

}  // namespace

ParameterValues::Entry& ParameterValues::findOrInsert(Parameter parameter) {
    // A record usually receives all of its parameters one after another: allocate once.
    if (mValues.empty()) mValues.reserve(getValidParams().size());

    auto place = lowerBound(mValues, parameter);
    if (place == mValues.end() || place->parameter != parameter) {
        place = mValues.insert(place, {parameter, {}});
    }
    return *place;
}

void ParameterValues::set(Parameter parameter, Values values) {
    if (!isParameter(parameter)) return;
    setField(findOrInsert(parameter).values, std::move(values));
    setDirty(true);
}

bool ParameterValues::checkAndUpdate(Parameter parameter, const Values& values) {
    if (!getValidParams().contains(parameter)) return false;
    Entry& entry = findOrInsert(parameter);
    if (entry.values == values) return false;
    entry.values = values;  // a copy, which uses the memory of the former values
    mChanged = true;
    setDirty(true);
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
    for (const Parameter parameter : params) findOrInsert(parameter);

    return dropped;
}

const ParameterValues::Values* ParameterValues::find(Parameter parameter) const {
    const auto place = lowerBound(mValues, parameter);
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
        // The only record with this parameter, the IEQ preset, has a line for its number already.
        if (parameter == IEQ_ID) continue;

        text.append(parameterInfo(parameter).column).push_back('=');
        for (const int value : values) text.append(std::to_string(value)).push_back(',');
        text.push_back('\n');
    }

    return text;
}

}  // namespace velora
