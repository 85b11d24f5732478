#pragma once

#include "effect/ParamChangeObserver.h"
#include "model/ParameterValues.h"

#include <cstdint>

namespace velora {

/// Base of the merged views: what the records in force say together, as the effect is to have it.
///
/// The effect's context owns it; it refers to its records and its observer, which may be null. One
/// thread at a time.
class ParameterView : public ParameterValues {
public:
    /// A view is never stored.
    int64_t getId() const override { return -1; }

    ParameterView(const ParameterView&) = delete;
    ParameterView& operator=(const ParameterView&) = delete;

protected:
    /// Announces itself to the observer as a source for `Endpoint::OTHER`, not mono.
    explicit ParameterView(ParamChangeObserver* observer);

    void announce(Endpoint endpoint, bool mono);
    /// Takes what a record says of the view's parameters, and tells the observer of each that is
    /// new. What the record has no values for stays as it was.
    void updateParams(const ParameterValues& record);

private:
    ParamChangeObserver* const mObserver;
};

}  // namespace velora
