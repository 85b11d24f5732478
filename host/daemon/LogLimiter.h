#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <log/log.h>

namespace velora::host {

/// Bounds how often the log repeats itself: of the lines of one kind, the first kMaxLines of each
/// period are written, and a report then says how many were left out. Lines are of one kind if they
/// have the same level, tag and format. Used by one thread at a time.
class LogLimiter {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr size_t kMaxLines = 20;
    static constexpr std::chrono::seconds kPeriod{10};  ///< from the first line of the kind

    /// A line that says how many lines of a kind were left out, with the level and tag of the kind.
    struct Report {
        int32_t priority;
        const char* tag;
        std::string text;
    };

    /// True if the line is to be written. Its tag and format must remain valid.
    bool admit(const __android_log_message& line, Clock::time_point now);

    /// When the next report is due; time_point::max() if no line was left out.
    Clock::time_point nextReport() const { return mNextReport; }
    /// Removes and returns the reports that are due at `now`.
    [[nodiscard]] std::vector<Report> takeReports(Clock::time_point now);

private:
    // The texts are literals of the program, so each kind has pointers of its own, and the number
    // of kinds is bounded.
    using Kind = std::tuple<int32_t, const char*, const char*>;
    struct Period {
        Clock::time_point end;
        size_t lines = 0;
        std::string lastLeftOut;
    };

    std::map<Kind, Period> mPeriods;
    Clock::time_point mNextReport = Clock::time_point::max();
};

}  // namespace velora::host
