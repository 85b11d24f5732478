#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

#include <log/log.h>

namespace {

std::atomic<__android_logger_function> gLogger{__android_log_stderr_logger};
std::atomic<int32_t> gMinimumPriority{ANDROID_LOG_INFO};

char priorityLetter(int32_t priority) {
    constexpr char kLetters[] = "VDIWE";
    const bool known = priority >= ANDROID_LOG_VERBOSE && priority <= ANDROID_LOG_ERROR;
    return known ? kLetters[priority - ANDROID_LOG_VERBOSE] : '?';
}

}  // namespace

int __android_log_print(int priority, const char* tag, const char* text, ...) {
    if (priority < gMinimumPriority.load(std::memory_order_relaxed)) return 0;

    // A caller may log a failed system call before it reads the call's error number.
    const int savedErrno = errno;

    char* formatted = nullptr;
    va_list args;
    va_start(args, text);
    const int length = vasprintf(&formatted, text, args);
    va_end(args);

    if (length >= 0) {
        const std::unique_ptr<char, decltype(&free)> message(formatted, &free);
        const __android_log_message entry{priority, tag, message.get(), text};
        gLogger.load()(&entry);
    }

    errno = savedErrno;
    return length >= 0 ? 1 : length;
}

void __android_log_set_logger(__android_logger_function logger) {
    gLogger = logger != nullptr ? logger : __android_log_stderr_logger;
}

int32_t __android_log_set_minimum_priority(int32_t priority) {
    return gMinimumPriority.exchange(priority);
}

void __android_log_stderr_logger(const __android_log_message* entry) {
    std::string line{priorityLetter(entry->priority), ' '};
    line.append(entry->tag).append(": ").append(entry->message).push_back('\n');

    // One write, so that lines of several threads don't mix. A line that can't be written is lost.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}
