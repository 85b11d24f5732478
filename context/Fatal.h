#pragma once

#include <unistd.h>

namespace velora {

/// Exits with status -1; the caller has logged which record the corrupt store lacks. Static objects
/// are not destroyed, because other threads may still use them.
[[noreturn]] inline void exitOnCorruptStore() { _exit(-1); }

}  // namespace velora
