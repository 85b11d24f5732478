#pragma once

#include "host/SdBus.h"

#include <log/log.h>

namespace velora::host {

/// Runs the body of an event loop callback and logs its exceptions. It never fails, because
/// sd-event would disable the source of a failed callback.
template <typename Work>
int logErrors(Work work) noexcept {
    const int result = guarded(nullptr, [&] {
        work();
        return 0;
    });
    if (result < 0) ALOGE("handling an event failed, %d", result);
    return 0;
}

}  // namespace velora::host
