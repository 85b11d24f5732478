#include "host/daemon/LogLimiter.h"

#include <algorithm>

namespace velora::host {

bool LogLimiter::admit(const __android_log_message& line, Clock::time_point now) {
    Period& period = mPeriods[{line.priority, line.tag, line.format}];
    if (period.end <= now) period = {now + kPeriod, 0, {}};
    if (++period.lines <= kMaxLines) return true;

    period.lastLeftOut = line.message;
    mNextReport = std::min(mNextReport, period.end);
    return false;
}

std::vector<LogLimiter::Report> LogLimiter::takeReports(Clock::time_point now) {
    std::vector<Report> reports;
    mNextReport = Clock::time_point::max();
    for (auto& [kind, period] : mPeriods) {
        if (period.lines <= kMaxLines) continue;
        if (now < period.end) {
            mNextReport = std::min(mNextReport, period.end);
            continue;
        }

        const auto& [priority, tag, format] = kind;
        reports.push_back(
            {priority, tag,
             "left out " + std::to_string(period.lines - kMaxLines) +
                 " more lines of this kind, the last one was: " + period.lastLeftOut});
        period = {};
    }
    return reports;
}

}  // namespace velora::host
