#include "service/VeloraManagerService.h"

#include <utils/RefBase.h>

// Loads the installed library, registers a client of a decoder's type, and asks the service whether
// a decoder is registered. The service can answer that without a tuning file.
int main() {
    const auto service = android::sp<android::VeloraManagerService>::make();
    service->registerClient(nullptr, 1, 10);
    return service->hasDecCP() ? 0 : 1;
}
