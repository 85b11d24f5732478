#include "host/ctl/Render.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace velora::host {

namespace {

/// `text` with each control character, which a terminal would obey, as \x and its number.
std::string escapeControls(const std::string& text) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string escaped;
    uint8_t previous = 0;
    for (const char c : text) {
        const auto byte = static_cast<uint8_t>(c);

        // U+0080 to U+009F, which are 0xc2 and the byte itself in UTF-8.
        const bool isUpperControl = previous == 0xc2 && byte >= 0x80 && byte < 0xa0;
        if (byte < ' ' || byte == 0x7f || isUpperControl) {
            escaped.append("\\x").append({kDigits[byte >> 4], kDigits[byte & 0xf]});
        } else {
            escaped.push_back(c);
        }
        previous = byte;
    }

    return escaped;
}

/// A table with a column for each member of the first object.
std::string toTable(const Json& list) {
    std::vector<std::vector<std::string>> rows(1);
    for (const auto& [name, value] : list.front().items()) rows[0].push_back(name);
    for (const Json& item : list) {
        auto& row = rows.emplace_back();
        for (const auto& [name, value] : item.items()) row.push_back(toLine(value));
    }

    std::vector<size_t> widths(rows[0].size());
    for (const auto& row : rows) {
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }

    // The last column isn't padded, so that no line ends in blanks.
    std::string text;
    for (auto& row : rows) {
        for (size_t i = 0; i + 1 < row.size(); ++i) row[i].resize(widths[i] + 2, ' ');
        for (const auto& cell : row) text += cell;
        text += '\n';
    }
    return text;
}

/// Lines of names and values; objects inside are indented.
std::string toLines(const Json& object, const std::string& indent) {
    std::string text;
    for (const auto& [name, value] : object.items()) {
        text.append(indent).append(name).append(":");
        text +=
            value.is_object() ? "\n" + toLines(value, indent + "  ") : " " + toLine(value) + "\n";
    }
    return text;
}

}  // namespace

std::string toLine(const Json& value) {
    if (value.is_null()) return "-";
    if (value.is_string()) return escapeControls(value.get<std::string>());
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (!value.is_array()) return value.dump();

    std::string items;
    for (const Json& item : value) items.append(items.empty() ? "" : " ").append(toLine(item));
    return items;
}

std::string toText(const Json& answer) {
    if (answer.contains("values")) return toLine(answer["values"]) + "\n";
    if (answer.is_object()) return toLines(answer, "");
    return answer.empty() ? "" : toTable(answer);
}

std::string toJsonText(const Json& answer, int indent) {
    return answer.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace velora::host
