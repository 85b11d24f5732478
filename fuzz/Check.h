#pragma once

#include <cstdlib>

namespace velora::fuzz {

/// Ends the process, which the fuzzer reports, unless `holds`.
inline void check(bool holds) {
    if (!holds) abort();
}

/// Checks that a record has all parameters of its table and no other.
template <typename Record>
void checkComplete(const Record& record) {
    check(record.size() == Record::kStoredParams.size());
    for (const auto& [parameter, values] : record) check(Record::kStoredParams.contains(parameter));
}

}  // namespace velora::fuzz
