#include "host/daemon/LogOutput.h"

#include "host/SdBus.h"
#include "host/daemon/LogLimiter.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <span>
#include <string_view>

#include <poll.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
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

/// Creates a timer of the clock that LogLimiter uses.
int createTimer() {
    return checkErrno(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "make a timer");
}

/// Recognises lines that only repeat that a tuning file was refused: without a store to fall back
/// on, every query of the start fails as well, and the library logs each of them.
class RefusalFilter {
public:
    /// True if the line follows from the line before. Lines must be given in their order.
    bool followsFromRefusal(const __android_log_message& line) {
        const auto isOneOf = [&](std::span<const std::string_view> texts) {
            return std::any_of(texts.begin(), texts.end(), [&](std::string_view text) {
                return std::string_view(line.format).starts_with(text);
            });
        };
        if (mWasRefused && isOneOf(kConsequences)) return true;
        mWasRefused = isOneOf(kRefusals);
        return false;
    }

private:
    static constexpr std::string_view kRefusals[] = {"can't make the signature of ",
                                                     "XML parses error!!", "The tuning file "};
    static constexpr std::string_view kConsequences[] = {
        "the transaction failed, nothing of it is stored",
        "failed to prepare sql command",
        "Unknow error...",
        "%s(): No profiles found from the database",
        "%s(): No ieq presets found from the database",
        "The stored settings can't be read",
    };

    bool mWasRefused = false;
};

/// The log of this process. One thread writes at a time, so that no other one fills the pipe after
/// `isWritable`.
class Sink {
public:
    using Clock = LogLimiter::Clock;

    explicit Sink(__android_logger_function write) : mWrite(write) {}

    int reportFd() const { return mReportFd; }

    void log(const __android_log_message& line) {
        android::Mutex::Autolock writing(mLock);
        const Clock::time_point now = Clock::now();
        reportLocked(now);
        if (mRefusals.followsFromRefusal(line)) return;

        const Clock::time_point scheduled = mLimiter.nextReport();
        if (mLimiter.admit(line, now)) {
            writeLocked(line);
        } else if (mLimiter.nextReport() != scheduled) {
            scheduleReportLocked();
        }
    }

    /// Writes the reports that are due at `time`, which may be in the future.
    void report(Clock::time_point time) {
        android::Mutex::Autolock lock(mLock);
        reportLocked(time);
    }

private:
    /// Writes the line, unless that would block.
    void writeLocked(const __android_log_message& line) REQUIRES(mLock) {
        if (!isWritable()) return;
        const std::string message(line.message, strnlen(line.message, kMaxMessage));
        const __android_log_message bounded{line.priority, line.tag, message.c_str(), line.format};
        mWrite(&bounded);
    }

    void reportLocked(Clock::time_point time) REQUIRES(mLock) {
        if (time < mLimiter.nextReport()) return;
        for (const auto& [priority, tag, text] : mLimiter.takeReports(time)) {
            writeLocked({priority, tag, text.c_str(), nullptr});
        }
        scheduleReportLocked();
    }

    /// Makes the descriptor readable at the time of the next report, and unreadable before.
    void scheduleReportLocked() REQUIRES(mLock) {
        const auto next = mLimiter.nextReport();
        itimerspec timer{};  // disarms
        if (next != Clock::time_point::max()) {
            const auto time = next.time_since_epoch();
            const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
            timer.it_value = {seconds.count(), std::chrono::nanoseconds(time - seconds).count()};
        }
        timerfd_settime(mReportFd, TFD_TIMER_ABSTIME, &timer, nullptr);
    }

    const __android_logger_function mWrite;
    const int mReportFd = createTimer();
    android::Mutex mLock;
    RefusalFilter mRefusals GUARDED_BY(mLock);
    LogLimiter mLimiter GUARDED_BY(mLock);
};

Sink* gSink = nullptr;

}  // namespace

std::vector<std::string> logLevels() {
    std::vector<std::string> names;
    for (const auto& [name, priority] : kLevels) names.push_back(name);
    return names;
}

LogOutput::LogOutput(const std::string& level) {
    // Never destroyed, because threads may log until the process ends.
    gSink = new Sink(isConnectedToJournal() ? writeToJournal : __android_log_stderr_logger);
    __android_log_set_logger([](const __android_log_message* line) { gSink->log(*line); });
    __android_log_set_minimum_priority(kLevels.at(level));
}

LogOutput::~LogOutput() { gSink->report(LogLimiter::Clock::time_point::max()); }

int LogOutput::reportFd() const { return gSink->reportFd(); }

void LogOutput::report() { gSink->report(LogLimiter::Clock::now()); }

}  // namespace velora::host
