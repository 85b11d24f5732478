#pragma once

#include <algorithm>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <log/log.h>

namespace velora::test {

/// Records every log line, of any priority and thread, during its lifetime. One at a time.
class LogCapture {
public:
    LogCapture() : mPreviousPriority(__android_log_set_minimum_priority(ANDROID_LOG_VERBOSE)) {
        clear();
        __android_log_set_logger(record);
    }
    ~LogCapture() {
        __android_log_set_logger(nullptr);
        onMessage({}, {});
        __android_log_set_minimum_priority(mPreviousPriority);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// The lines so far, as "E Tag: message".
    static std::vector<std::string> lines() {
        std::lock_guard lock(sLock);
        return sLines;
    }
    /// The number of lines that equal `line`, or start with it if it ends with "...".
    static size_t count(std::string_view line) {
        const bool isPrefix = line.ends_with("...");
        if (isPrefix) line.remove_suffix(3);
        const auto all = lines();
        return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const auto& l) {
            return isPrefix ? l.starts_with(line) : l == line;
        }));
    }
    /// Runs `action` once, in the middle of an operation: when it logs `message`.
    static void onMessage(std::string_view message, std::function<void()> action) {
        std::lock_guard lock(sLock);
        sAwaited = message;
        sAction = std::move(action);
    }
    static void clear() {
        std::lock_guard lock(sLock);
        sLines.clear();
    }

private:
    static void record(const __android_log_message* entry) {
        std::string line(1, "VDIWE"[entry->priority - ANDROID_LOG_VERBOSE]);
        line.append(" ").append(entry->tag).append(": ").append(entry->message);
        std::function<void()> action;
        {
            std::lock_guard lock(sLock);
            sLines.push_back(std::move(line));
            if (entry->message == sAwaited) action.swap(sAction);
        }
        if (action != nullptr) action();  // it may log, too
    }

    inline static std::mutex sLock;
    // These are never destroyed, because a thread may log while the process ends.
    inline static auto& sLines = *new std::vector<std::string>();
    inline static auto& sAwaited = *new std::string();
    inline static auto& sAction = *new std::function<void()>();

    const int mPreviousPriority;
};

}  // namespace velora::test
