#pragma once

#include "model/ParameterValues.h"
#include "model/Port.h"

namespace velora {

/// Is told by a parameter view which of its values changed. Used by one thread at a time.
class ParamChangeObserver {
public:
    virtual ~ParamChangeObserver() = default;

    /// From now on the values are those of `source`, which stays the caller's, on an output of this
    /// class; `mono`: one with a single loudspeaker. The source may still be being made: it isn't
    /// to be used before the call returns.
    virtual void setSource(ParameterValues* source, Endpoint endpoint, bool mono) = 0;
    /// The source has other values of `parameter` than before.
    virtual void onParameterChanged(Parameter parameter) = 0;
};

}  // namespace velora
