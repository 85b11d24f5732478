#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The text form of a record: one line per field, made of a name, "=", a value and a line feed.

namespace velora {

std::string recordLine(std::string_view name, std::string_view value);
std::string recordLine(std::string_view name, int64_t value);

/// The value of a boolean field.
constexpr std::string_view recordBoolean(bool value) { return value ? "true" : "false"; }

}  // namespace velora
