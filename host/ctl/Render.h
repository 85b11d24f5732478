#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace velora::host {

/// An answer of veloractl. The order of its members is the order in which they are shown.
using Json = nlohmann::ordered_json;

/// An answer as text for people, each line with its newline: a parameter as its values alone, a
/// list of objects as a table, another object as lines of names and values. An empty list gives "".
std::string toText(const Json& answer);

/// An answer as JSON, indented by `indent` blanks, or in one line if that is -1. No newline at the
/// end. Bytes that aren't UTF-8 are replaced.
std::string toJsonText(const Json& answer, int indent);

/// A value in one line: strings with their control characters escaped, "yes" or "no" for booleans,
/// "-" for null, and the items of a list separated by blanks.
std::string toLine(const Json& value);

}  // namespace velora::host
