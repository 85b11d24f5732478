#pragma once

#include <cstdint>

namespace android {

/// Milliseconds since the system started, never going back.
int64_t uptimeMillis();

}  // namespace android
