#pragma once

#include "service/VeloraManagerService.h"
#include "tests/faults/Disk.h"

#include <string>
#include <string_view>
#include <vector>

namespace velora::test {

/// A change that a client asks for.
struct Step {
    void (*change)(android::VeloraManagerService& service);
    /// The service stores it before it notifies the clients. Otherwise the client requests a save.
    bool isPromised;
};

/// One life of the service in the course that is run. Each begins with the files that the one
/// before has left.
struct Life {
    const char* name;
    bool bringsExtraFile;   ///< which later lives keep
    bool hasNewTuningFile;  ///< so that the store is rebuilt
    std::vector<Step> steps;

    // Found by the run without faults.
    std::string started{};  ///< what is served after the start
    std::string effect{};   ///< what the effect has then
};
std::vector<Life> makeLives();

// What a life reports as marks of its disk: one of these words, followed by a text.
inline constexpr std::string_view kStarted = "started ";      ///< and serves this
inline constexpr std::string_view kEffect = "effect ";        ///< has received this from the start
inline constexpr std::string_view kAttempt = "attempt ";      ///< this is to be stored
inline constexpr std::string_view kStored = "stored";         ///< the last attempt
inline constexpr std::string_view kCleared = "cleared";       ///< the fault is
inline constexpr std::string_view kNotStored = "not stored";  ///< although the fault is gone
inline constexpr std::string_view kLog = "log ";              ///< a warning or an error

/// Lives in this process, which must be new, on the disk in use. A step that isn't stored is tried
/// twice, and again when the fault is cleared at the end of the steps; then one more step must be
/// stored. Without `hasSteps`, the service is only started.
void live(const Life& life, Disk& disk, bool hasSteps);

}  // namespace velora::test
