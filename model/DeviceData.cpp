#include "model/DeviceData.h"

namespace velora {

void DeviceData::validateData() {
    for (ProfileEndpoint* const endpoint : mProfileEndpoints) {
        const auto& enabled = endpoint->get(IEQ_ENABLE);
        if (!enabled.empty() && enabled.front() == 0) endpoint->setSelectedIeqPreset(0);
    }
}

}  // namespace velora
