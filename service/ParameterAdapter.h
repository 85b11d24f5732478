#pragma once

#include "context/SndContext.h"
#include "model/Port.h"
#include "service/AdapterParameter.h"

#include <span>

namespace velora {

/// Serves the client-facing parameters (`kAdapterParameters`): limits values to their range, and
/// reads and writes them where they are kept in the sound context, whose change rule and
/// notifications apply.
///
/// Owned by the facade and used under its lock; doesn't own the context. `profile` must be one of
/// the context's. A number without a row is logged and gets the neutral answer; the setters ignore
/// it silently, but log and refuse a wrong number of values.
class ParameterAdapter {
public:
    using Values = SndContext::Values;

    explicit ParameterAdapter(SndContext* context) : mContext(context) {}

    /// Number of values of a parameter; 1 for an unknown one.
    int getParameterLength(int id) const;

    /// Sets a parameter for the whole profile: on every endpoint, where each has its own. `values`
    /// are replaced by what they are limited to, except for the virtualizers' switches, which have
    /// no limits; also if the context refuses them.
    void setParameter(int profile, int id, Values& values);
    /// The value that represents the whole profile: the profile's own, its GEQ preset's, that of
    /// the only endpoint that has it, the headphone's for a `STEERING` parameter, else the
    /// speaker's.
    Values getParameter(int profile, int id);

    /// The same for one endpoint. A parameter that isn't kept by endpoint isn't set, and is empty.
    void setProfileEndpointParameter(int profile, Endpoint endpoint, int id, Values& values);
    Values getProfileEndpointParameter(int profile, Endpoint endpoint, int id);

private:
    void setOnEndpoints(const AdapterParameter& parameter, int profile,
                        std::span<const Endpoint> endpoints, Values& values);
    Values get(const AdapterParameter& parameter, int profile, Endpoint endpoint);
    void clamp(const AdapterParameter& parameter, Values& values) const;
    bool isSteeredByEndpoints(int profile);

    SndContext* const mContext;
};

}  // namespace velora
