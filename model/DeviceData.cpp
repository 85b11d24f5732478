#include "model/DeviceData.h"

namespace velora {

void DeviceData::validateData() {
    for (ProfileEndpoint* const endpoint : mProfileEndpoints) {
        if (endpoint->firstOf(IEQ_ENABLE, 1) == 0) endpoint->setSelectedIeqPreset(0);
    }
}

}  // namespace velora
