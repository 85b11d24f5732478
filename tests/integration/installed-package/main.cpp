#include "service/VeloraManagerService.h"

#include <utils/RefBase.h>

// A process that loads the service, enters itself, and asks something that needs no tuning file.
int main() {
    const auto service = android::sp<android::VeloraManagerService>::make();
    service->registerClient(nullptr, 1, 10);
    return service->hasDecCP() ? 0 : 1;
}
