#pragma once

#include "service/VeloraManagerService.h"
#include "tests/faults/Disk.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velora::test {

/// A change that a client asks for.
using Step = std::function<void(android::VeloraManagerService& service)>;

/// One life of the service in the course that is run. Each begins with the files that the one
/// before has left.
struct Life {
    const char* name;
    bool bringsExtraFile = false;   ///< which later lives keep
    bool hasNewTuningFile = false;  ///< so that the store is rebuilt
    std::vector<Step> steps{};      ///< none: the service is only started
    std::string started{};  ///< what is served after the start, found by the run without faults
};
std::vector<Life> makeLives();

// What a life reports as marks of its disk: one of these words, followed by a text.
inline constexpr std::string_view kStarted = "started ";      ///< and this is served then
inline constexpr std::string_view kAttempt = "attempt ";      ///< this is to be stored
inline constexpr std::string_view kStored = "stored";         ///< the last attempt
inline constexpr std::string_view kCleared = "cleared";       ///< the fault is
inline constexpr std::string_view kNotStored = "not stored";  ///< although the fault is gone
inline constexpr std::string_view kLog = "log ";              ///< a warning or an error

/// Lives in this process, which must be new, on the disk in use. A step that isn't stored is tried
/// twice. Then the fault is cleared, and the steps from that one on must be stored.
void live(const Life& life, Disk& disk);

}  // namespace velora::test
