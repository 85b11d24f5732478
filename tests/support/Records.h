#pragma once

#include "context/SndContext.h"

namespace velora::test {

/// Calls `visit` with every record that is in use.
template <typename Visit>
void visitRecords(const SndContext& context, Visit visit) {
    for (int id = 0; id < context.getNumOfProfiles(); ++id) {
        visit(*context.getProfile(id));
        visit(*context.getProfileGeq(id));
        for (const Endpoint endpoint : kEndpoints) {
            visit(*context.getProfileEndpoint(id, endpoint));
            visit(*context.getContext(id)->getSelectedIeqPreset(endpoint));
        }
    }
    for (const Port port : kSupportedPorts) {
        if (const Tuning* const tuning = context.getSelectedTuning(port)) visit(*tuning);
    }
}

}  // namespace velora::test
