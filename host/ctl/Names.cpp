#include "host/ctl/Names.h"

#include "host/ctl/CommandError.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <optional>

namespace velora::host {

namespace {

/// Levenshtein distance: the least number of letters to add, remove or replace to get from one text
/// to the other. `row` holds the distances of the letters of `a` so far to each beginning of `b`.
size_t distance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});

    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }

    return row.back();
}

/// The few names that were most probably meant by `text`, nearest first.
std::string nearestNames(const Names& names, const std::string& text) {
    constexpr size_t kShown = 3;
    std::vector<std::pair<size_t, std::string>> byDistance;
    for (const auto& [number, name] : names) {
        // A part of the name counts as one typing error, and its first word as the whole name.
        const size_t errors =
            std::min(distance(text, name), distance(text, name.substr(0, name.find(' '))));
        byDistance.emplace_back(name.find(text) != std::string::npos ? 1 : errors, name);
    }
    std::stable_sort(byDistance.begin(), byDistance.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });

    std::string list;
    for (size_t i = 0; i < std::min(kShown, byDistance.size()); ++i) {
        list.append(list.empty() ? "" : ", ").append(byDistance[i].second);
    }
    return list;
}

std::optional<int32_t> parse(const std::string& text) {
    const char* const end = text.data() + text.size();
    int32_t number = 0;
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return number;
}

std::string hint(const Names& names, const std::string& text) {
    if (names.empty()) return "there are none";
    const int32_t first = names.front().first;
    if (!parse(text) || first == kNoNumber) return "nearest: " + nearestNames(names, text);
    return "valid: " + std::to_string(first) + " to " + std::to_string(names.back().first);
}

}  // namespace

int32_t resolve(const Names& names, const std::string& text, const std::string& kind) {
    const auto number = parse(text);
    for (const auto& [candidate, name] : names) {
        const bool isSameNumber = number == candidate && candidate != kNoNumber;
        if (name == text || isSameNumber) return candidate;
    }
    throw CommandError(Exit::USAGE, "no " + kind + " '" + text + "', " + hint(names, text));
}

std::string nameOrNumber(const Names& names, int32_t number) {
    const auto entry =
        std::find_if(names.begin(), names.end(), [&](const auto& n) { return n.first == number; });
    return entry != names.end() ? entry->second : std::to_string(number);
}

int32_t parseInteger(const std::string& text) {
    const auto number = parse(text);
    if (!number) throw CommandError(Exit::USAGE, "'" + text + "' is not a number");
    return *number;
}

}  // namespace velora::host
