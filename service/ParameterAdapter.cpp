#define LOG_TAG "ParameterAdapter"

#include "service/ParameterAdapter.h"

#include <algorithm>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kUnsupportedMessage[] = "param id %d not supported";

/// The renderer's configuration, whose first value is the steerer's source distance.
constexpr Parameter kRendering = ADVANCED_HEADPHONE_VIRTUALIZER_RENDERING_CONFIG;

/// What the configuration is reset to when a distance is set in a mode that doesn't use it.
constexpr std::array kRenderingTemplate{35, 32767, 32767, 32767, 0, 3, 3, 3};

const AdapterParameter* find(int id) {
    const bool known = id >= kFirstAdapterParameter && id <= kAdapterParameters.back().id;
    return known ? &kAdapterParameters[static_cast<size_t>(id - kFirstAdapterParameter)] : nullptr;
}

const AdapterParameter* findOrLog(int id) {
    const AdapterParameter* const parameter = find(id);
    if (parameter == nullptr) ALOGE(kUnsupportedMessage, id);
    return parameter;
}

/// The row of a parameter, if it has this number of values. Null otherwise; a wrong number, which
/// would leave the parameter unreadable, is logged.
const AdapterParameter* findFor(int id, const ParameterAdapter::Values& values) {
    const AdapterParameter* const parameter = find(id);
    if (parameter == nullptr || static_cast<int>(values.size()) == parameter->length) {
        return parameter;
    }
    ALOGE("param id %d has %d values, not %zu", id, parameter->length, values.size());
    return nullptr;
}

bool isOfEndpoints(Scope scope) { return scope == Scope::ENDPOINT || scope == Scope::STEERING; }

/// The endpoint whose values represent the whole profile: the only one that has the parameter, or
/// the headphone where a virtualizer is steered, else the speaker.
Endpoint representativeEndpoint(Scope scope) {
    const bool headphone = scope == Scope::HEADPHONE || scope == Scope::STEERING;
    return headphone ? Endpoint::HEADPHONE : Endpoint::SPEAKER;
}

}  // namespace

int ParameterAdapter::getParameterLength(int id) const {
    const AdapterParameter* const parameter = findOrLog(id);
    return parameter != nullptr ? parameter->length : 1;
}

void ParameterAdapter::setParameter(int profile, int id, Values& values) {
    const AdapterParameter* const parameter = findFor(id, values);
    if (parameter == nullptr) return;

    switch (parameter->scope) {
        case Scope::PROFILE:
            clamp(*parameter, values);
            mContext->setProfileParameter(profile, parameter->parameter, values);
            return;
        case Scope::GEQ_PRESET:
            clamp(*parameter, values);
            mContext->setProfileGeqParameter(profile, parameter->parameter, values);
            return;
        case Scope::HEADPHONE:
        case Scope::SPEAKER:  // not clamped
            mContext->setProfileParameter(profile, representativeEndpoint(parameter->scope),
                                          parameter->parameter, values);
            return;
        case Scope::ENDPOINT:
        case Scope::STEERING:
            break;
    }
    setOnEndpoints(*parameter, profile, kEndpoints, values);
}

void ParameterAdapter::setProfileEndpointParameter(int profile, Endpoint endpoint, int id,
                                                   Values& values) {
    const AdapterParameter* const parameter = findFor(id, values);
    if (parameter == nullptr || !isOfEndpoints(parameter->scope)) return;
    setOnEndpoints(*parameter, profile, {&endpoint, 1}, values);
}

void ParameterAdapter::setOnEndpoints(const AdapterParameter& parameter, int profile,
                                      std::span<const Endpoint> endpoints, Values& values) {
    clamp(parameter, values);
    if (parameter.scope == Scope::STEERING && !isSteeredByEndpoints(profile)) {
        // The requested distance is discarded: only mode 1 uses it.
        mContext->setProfileParameter(profile, kRendering,
                                      {kRenderingTemplate.begin(), kRenderingTemplate.end()});
        return;
    }
    for (const Endpoint endpoint : endpoints) {
        mContext->setProfileParameter(profile, endpoint, parameter.parameter, values);
    }
}

ParameterAdapter::Values ParameterAdapter::getParameter(int profile, int id) {
    const AdapterParameter* const parameter = findOrLog(id);
    if (parameter == nullptr) return {};

    switch (parameter->scope) {
        case Scope::PROFILE:
            return mContext->getProfileParameter(profile, parameter->parameter);
        case Scope::GEQ_PRESET:
            return mContext->getProfileGeqParameter(profile, parameter->parameter);
        case Scope::ENDPOINT:
        case Scope::STEERING:
        case Scope::HEADPHONE:
        case Scope::SPEAKER:
            break;
    }
    return get(*parameter, profile, representativeEndpoint(parameter->scope));
}

ParameterAdapter::Values ParameterAdapter::getProfileEndpointParameter(int profile,
                                                                       Endpoint endpoint, int id) {
    const AdapterParameter* const parameter = findOrLog(id);
    if (parameter == nullptr || !isOfEndpoints(parameter->scope)) return {};
    return get(*parameter, profile, endpoint);
}

ParameterAdapter::Values ParameterAdapter::get(const AdapterParameter& parameter, int profile,
                                               Endpoint endpoint) {
    if (parameter.scope == Scope::STEERING && !isSteeredByEndpoints(profile)) {
        return {mContext->getProfile(profile)->firstOf(kRendering, kRenderingTemplate.front())};
    }
    return mContext->getProfileParameter(profile, endpoint, parameter.parameter);
}

void ParameterAdapter::clamp(const AdapterParameter& parameter, Values& values) const {
    const bool byPresets = parameter.max == kUpToIeqPresets;
    const int max = byPresets ? mContext->getNumOfIeqPresets() : parameter.max;
    for (int& value : values) value = std::clamp(value, parameter.min, max);
}

bool ParameterAdapter::isSteeredByEndpoints(int profile) {
    constexpr int kUnknownMode = 0;
    constexpr int kSteeredByEndpoints = 1;
    const Profile& record = *mContext->getProfile(profile);
    return record.firstOf(HEADPHONE_VIRTUALIZER_MODE, kUnknownMode) == kSteeredByEndpoints;
}

}  // namespace velora
