#pragma once

#include <cstdint>

namespace android {

/// Result of an operation: 0 or a negative error number.
using status_t = int32_t;

enum : status_t {
    OK = 0,
    NAME_NOT_FOUND = -2,
    NO_MEMORY = -12,
    NO_INIT = -19,
    BAD_VALUE = -22,
    INVALID_OPERATION = -38,
};

}  // namespace android
