#include "effect/ParameterView.h"

namespace velora {

ParameterView::ParameterView(ParamChangeObserver* observer)
    : ParameterValues(false), mObserver(observer) {
    announceSource(Endpoint::OTHER, false);
}

void ParameterView::announceSource(Endpoint endpoint, bool mono) {
    if (mObserver != nullptr) mObserver->setSource(this, endpoint, mono);
}

void ParameterView::updateParams(const ParameterValues& record) {
    const ParameterSet& valid = getValidParams();  // most records have few of these
    for (const auto& [parameter, values] : record) {
        if (values.empty() || !valid.contains(parameter)) continue;
        if (!checkAndUpdate(parameter, values)) continue;
        if (mObserver != nullptr) mObserver->onParameterChanged(parameter);
    }
}

}  // namespace velora
