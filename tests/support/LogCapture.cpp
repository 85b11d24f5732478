#include "tests/support/LogCapture.h"

#include <algorithm>
#include <mutex>

#include <log/log.h>

namespace velora::test {

namespace {

std::mutex gLock;
auto& gLines = *new std::vector<std::string>();  // a thread may log until the process is gone

void take(const __android_log_message* entry) {
    std::string line(1, "VDIWE"[entry->priority - ANDROID_LOG_VERBOSE]);
    line.append(" ").append(entry->tag).append(": ").append(entry->message);
    std::lock_guard lock(gLock);
    gLines.push_back(std::move(line));
}

}  // namespace

LogCapture::LogCapture()
    : mPriorityBefore(__android_log_set_minimum_priority(ANDROID_LOG_VERBOSE)) {
    clear();
    __android_log_set_logger(take);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(nullptr);
    __android_log_set_minimum_priority(mPriorityBefore);
}

std::vector<std::string> LogCapture::lines() {
    std::lock_guard lock(gLock);
    return gLines;
}

size_t LogCapture::count(std::string_view line) {
    const bool prefix = line.ends_with("...");
    if (prefix) line.remove_suffix(3);
    const auto all = lines();
    return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const std::string& l) {
        return prefix ? l.starts_with(line) : l == line;
    }));
}

void LogCapture::clear() {
    std::lock_guard lock(gLock);
    gLines.clear();
}

}  // namespace velora::test
