#pragma once

#include "effect/ParamChangeObserver.h"
#include "model/ParameterValues.h"

#include <cstdint>

namespace velora {

/// Base of the merged views: a copy of the values of several records, which is what the effect is
/// to be sent. The view detects which of them change and notifies its observer.
///
/// The effect's context owns the view. The view refers to its records and its observer, which must
/// remain valid as long as it is used; the observer may be null. One thread at a time.
class ParameterView : public ParameterValues {
public:
    /// Always -1: a view is never stored.
    int64_t getId() const override { return -1; }

    ParameterView(const ParameterView&) = delete;
    ParameterView& operator=(const ParameterView&) = delete;

protected:
    /// Announces the view to the observer as a source for `Endpoint::OTHER`, not mono.
    explicit ParameterView(ParamChangeObserver* observer);

    void announceSource(Endpoint endpoint, bool mono);
    /// Copies the values of the parameters that are valid in the view, and notifies the observer of
    /// each change. Keeps the previous values of a parameter for which the record has none.
    void updateParams(const ParameterValues& record);

private:
    ParamChangeObserver* const mObserver;
};

}  // namespace velora
