#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velora::test {

/// Takes every log line, of any priority and thread, while it stands. One at a time.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// The lines so far, as "E Tag: message".
    static std::vector<std::string> lines();
    /// How many lines are exactly this, or begin so when `line` ends with "...".
    static size_t count(std::string_view line);
    static void clear();

private:
    int mPriorityBefore;
};

}  // namespace velora::test
