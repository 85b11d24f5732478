#pragma once

#include <cstdlib>

#include <log/log.h>

namespace velora::fuzz {

/// Ends the process, which the fuzzer reports, unless `holds`.
inline void check(bool holds) {
    if (!holds) abort();
}

/// Formats everything that is logged, as the formats are to be checked, too, and then drops it.
inline void dropLog() {
    __android_log_set_logger([](const __android_log_message*) {});
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
}

/// Checks that a record has all parameters of its table and no other.
template <typename Record>
void checkComplete(const Record& record) {
    check(record.size() == Record::kStoredParams.size());
    for (const auto& [parameter, values] : record) check(Record::kStoredParams.contains(parameter));
}

}  // namespace velora::fuzz
