#pragma once

#include "model/ParameterValues.h"
#include "model/Port.h"

namespace velora {

/// Is notified by a parameter view when its values change. One thread at a time.
class ParamChangeObserver {
public:
    virtual ~ParamChangeObserver() = default;

    /// The following changes are those of `source`, which the caller owns, for an output of class
    /// `endpoint`; `mono` if that has a single loudspeaker. A view calls this from its constructor,
    /// so the observer must not use the source before the call returns.
    virtual void setSource(ParameterValues* source, Endpoint endpoint, bool mono) = 0;
    /// The values of `parameter` in the source changed.
    virtual void onParameterChanged(Parameter parameter) = 0;
};

}  // namespace velora
