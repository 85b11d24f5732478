#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace velora::test {

/// What every `SndManager` of a test does and has been asked to do: the facade's place is taken
/// when the tests are linked. Any thread.
struct FakeSndManager {
    static FakeSndManager& get();
    /// Back to the answers of a fresh facade that initialises at once.
    void reset();

    void note(std::string call);
    std::vector<std::string> takeCalls();
    size_t countOf(const std::string& call);

    std::mutex lock;
    std::atomic<int> alive{0};  ///< facades that stand

    // Guarded by lock.
    std::vector<std::string> calls;
    int initResult = 0;
    int reloadResult = 0;
    bool on = true;
    int profiles = 3;
    int selectedProfile = 0;
    bool selectable = true;
    bool ignoresSelection = false;
    bool mono = false;
    bool portrait = false;
    bool mobility = false;
    std::string version = "2.0.1";
    std::vector<std::string> devices{"default_hdmi", "tv"};
    std::map<int, std::vector<int>> parameters;  ///< by client-facing number
};

}  // namespace velora::test
