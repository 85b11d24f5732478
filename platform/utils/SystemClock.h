#pragma once

#include <cstdint>

namespace android {

/// Milliseconds since the system started; never decreases.
int64_t uptimeMillis();

}  // namespace android
