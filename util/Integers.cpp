#include "util/Integers.h"

#include <charconv>

namespace velora {

namespace {

// Reads the integer at the start of `text` and removes it from there. False, and `text` unchanged,
// if there is none or it doesn't fit.
bool consumeInt(std::string_view& text, int& value) {
    const size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string_view::npos) return false;

    // std::from_chars accepts a minus sign, but not a plus sign.
    const char* first = text.data() + start;
    const char* const last = text.data() + text.size();
    if (*first == '+') {
        ++first;
        if (first != last && *first == '-') return false;
    }

    const auto [end, error] = std::from_chars(first, last, value);
    if (error != std::errc()) return false;

    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return true;
}

}  // namespace

int string2Int(std::string_view text) {
    int value = 0;
    return consumeInt(text, value) ? value : 0;
}

void string2IntVector(std::string_view text, std::vector<int>& out) {
    for (int value = 0; consumeInt(text, value);) {
        out.push_back(value);
        if (text.starts_with(',') || text.starts_with(' ')) text.remove_prefix(1);
    }
}

std::string intVector2String(const std::vector<int>& values) {
    std::string text;
    char digits[16];  // more than the sign and ten digits of the longest integer

    for (const int value : values) {
        if (!text.empty()) text.push_back(',');
        const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
        text.append(digits, end);
    }

    return text;
}

}  // namespace velora
