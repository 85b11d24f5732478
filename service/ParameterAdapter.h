#pragma once

#include "context/SndContext.h"
#include "model/Port.h"
#include "service/AdapterParameter.h"

#include <span>

namespace velora {

/// Serves the client-facing parameters (`kAdapterParameters`): brings values into their range and
/// reads and writes them where they live in the sound context, whose change rule and notifications
/// apply.
///
/// Owned by the facade and used under its lock; the context stays its owner's. `profile` must be
/// one of the context's. A number that has no row is logged and gets the neutral answer; the
/// setters ignore it silently, but log and refuse another number of values than a parameter has.
class ParameterAdapter {
public:
    using Values = SndContext::Values;

    explicit ParameterAdapter(SndContext* context) : mContext(context) {}

    /// Number of values of a parameter; 1 for an unknown one.
    int getParameterLength(int id) const;

    /// For the whole profile: on every endpoint, where each has its own. `values` are brought into
    /// range, but for a virtualiser's switch, whether or not the context takes them.
    void setParameter(int profile, int id, Values& values);
    /// What stands for the whole profile: the profile's own, its GEQ preset's, the one endpoint's
    /// that has it, the headphone's for a `STEERING` parameter, else the speaker's.
    Values getParameter(int profile, int id);

    /// For one endpoint; nothing, and empty, for a parameter that isn't kept by endpoint.
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
