#pragma once

#include <cstdint>

// The system log. One line per message, each with a priority and the tag of the class that logs it.
// A source file defines LOG_TAG before it includes this header and logs through ALOGV .. ALOGE. Any
// thread may log.

extern "C" {

enum android_LogPriority {
    ANDROID_LOG_VERBOSE = 2,
    ANDROID_LOG_DEBUG = 3,
    ANDROID_LOG_INFO = 4,
    ANDROID_LOG_WARN = 5,
    ANDROID_LOG_ERROR = 6,
};

struct __android_log_message {
    int32_t priority;
    const char* tag;
    const char* message;  ///< formatted; the log appends no line feed to it
    const char* format;   ///< what the message was formatted from, the same for all of its kind
};

/// Receives every message of at least the minimum priority, on the thread that logs it.
using __android_logger_function = void (*)(const __android_log_message* message);

/// Formats one message and passes it to the sink. 1 if it did, 0 for a message below the minimum
/// priority (which costs one comparison), negative if it can't be formatted. Preserves errno.
int __android_log_print(int priority, const char* tag, const char* text, ...)
    __attribute__((format(printf, 3, 4)));

/// Replaces the sink; null restores the default, which writes to standard error.
void __android_log_set_logger(__android_logger_function logger);

/// Sets the minimum priority (initially info) and returns the previous one.
int32_t __android_log_set_minimum_priority(int32_t priority);

/// The default sink: writes "<priority letter> <tag>: <message>" to standard error at once. If that
/// is a pipe whose reader may close it, the process must ignore SIGPIPE.
void __android_log_stderr_logger(const __android_log_message* entry);

}  // extern "C"

#define ALOGV(...) __android_log_print(ANDROID_LOG_VERBOSE, LOG_TAG, __VA_ARGS__)
#define ALOGD(...) __android_log_print(ANDROID_LOG_DEBUG, LOG_TAG, __VA_ARGS__)
#define ALOGI(...) __android_log_print(ANDROID_LOG_INFO, LOG_TAG, __VA_ARGS__)
#define ALOGW(...) __android_log_print(ANDROID_LOG_WARN, LOG_TAG, __VA_ARGS__)
#define ALOGE(...) __android_log_print(ANDROID_LOG_ERROR, LOG_TAG, __VA_ARGS__)
