#include "host/daemon/LogOutput.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>

#include <poll.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <log/log.h>
#include <utils/Mutex.h>

namespace velora::host {

namespace {

const std::map<std::string, int32_t> kLevels{
    {"verbose", ANDROID_LOG_VERBOSE}, {"debug", ANDROID_LOG_DEBUG}, {"info", ANDROID_LOG_INFO},
    {"warn", ANDROID_LOG_WARN},       {"error", ANDROID_LOG_ERROR},
};

/// Bytes of a message that are logged. A pipe that is writable has room for PIPE_BUF bytes, which
/// include the priority and the tag; a write of more could wait for the reader.
constexpr size_t kMaxMessage = PIPE_BUF - 128;

/// True if standard error is the journal's stream, which systemd names by device and inode in
/// JOURNAL_STREAM.
bool isConnectedToJournal() {
    const char* const stream = secure_getenv("JOURNAL_STREAM");
    struct stat info {};
    if (stream == nullptr || fstat(STDERR_FILENO, &info) != 0) return false;
    return std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino) == stream;
}

const char* journalPrefix(int32_t priority) {
    if (priority >= ANDROID_LOG_ERROR) return SD_ERR;
    if (priority == ANDROID_LOG_WARN) return SD_WARNING;
    return priority == ANDROID_LOG_INFO ? SD_INFO : SD_DEBUG;
}

/// False while standard error is a full pipe. A write would wait for its reader, and all of the
/// service with it.
bool isWritable() {
    pollfd log{STDERR_FILENO, POLLOUT, 0};
    return poll(&log, 1, 0) == 1 && (log.revents & POLLOUT) != 0;
}

void writeToJournal(const __android_log_message* entry) {
    std::string text = journalPrefix(entry->priority);
    text.append(entry->tag).append(": ").append(entry->message);

    // The journal would take each line for an entry of its own.
    std::replace(text.begin(), text.end(), '\n', ' ');
    text.push_back('\n');

    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

/// Writes the entry, unless that would block. One thread at a time, so that no other one fills the
/// pipe after `isWritable`.
template <__android_logger_function kWrite>
void logWithoutBlocking(const __android_log_message* entry) {
    static android::Mutex sLock;
    android::Mutex::Autolock lock(sLock);
    if (!isWritable()) return;

    const std::string message(entry->message, strnlen(entry->message, kMaxMessage));
    const __android_log_message bounded{entry->priority, entry->tag, message.c_str()};
    kWrite(&bounded);
}

}  // namespace

std::vector<std::string> logLevels() {
    std::vector<std::string> names;
    for (const auto& [name, priority] : kLevels) names.push_back(name);
    return names;
}

void startLogging(const std::string& level) {
    __android_log_set_logger(isConnectedToJournal()
                                 ? logWithoutBlocking<writeToJournal>
                                 : logWithoutBlocking<__android_log_stderr_logger>);
    __android_log_set_minimum_priority(kLevels.at(level));
}

}  // namespace velora::host
