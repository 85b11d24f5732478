#include "host/ctl/Names.h"

#include <algorithm>
#include <charconv>
#include <numeric>

namespace velora::host {

namespace {

/// How many letters have to be added, taken away or replaced to get from one text to the other.
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

std::string nearest(const Names& names, const std::string& text) {
    constexpr size_t kShown = 3;
    std::vector<std::pair<size_t, std::string>> near;
    for (const auto& [number, name] : names) {
        // A part of the name is as near as a slip of the pen, and its first word counts as it.
        const size_t slips =
            std::min(distance(text, name), distance(text, name.substr(0, name.find(' '))));
        near.emplace_back(name.find(text) != std::string::npos ? 1 : slips, name);
    }
    std::stable_sort(near.begin(), near.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string list;
    for (size_t i = 0; i < std::min(kShown, near.size()); ++i) {
        list.append(list.empty() ? "" : ", ").append(near[i].second);
    }
    return list;
}

std::string hintOf(const Names& names, const std::string& text, bool isNumber) {
    if (names.empty()) return "there is none";
    const int32_t first = names.front().first;
    if (!isNumber || first == kNoNumber) return "nearest: " + nearest(names, text);
    return "valid: " + std::to_string(first) + " to " + std::to_string(names.back().first);
}

bool parse(const std::string& text, int32_t* number) {
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, *number);
    return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

int32_t pick(const Names& names, const std::string& text, const std::string& kind) {
    int32_t number = 0;
    const bool isNumber = parse(text, &number);
    for (const auto& [candidate, name] : names) {
        const bool isMeant = isNumber && number == candidate && candidate != kNoNumber;
        if (name == text || isMeant) return candidate;
    }
    throw CommandError(Exit::USAGE,
                       "no " + kind + " '" + text + "', " + hintOf(names, text, isNumber));
}

int32_t integerOf(const std::string& text) {
    int32_t number = 0;
    if (!parse(text, &number)) throw CommandError(Exit::USAGE, "'" + text + "' is no number");
    return number;
}

}  // namespace velora::host
