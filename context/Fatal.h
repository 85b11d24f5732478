#pragma once

#include <unistd.h>

namespace velora {

/// Ends the process with status -1 after a corrupt store was logged. Nothing is destroyed: other
/// threads may still be running.
[[noreturn]] inline void leaveProcess() { _exit(-1); }

}  // namespace velora
