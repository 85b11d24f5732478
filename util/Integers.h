#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// The decimal integer at the start of `text`, after optional white space and a sign; anything may
/// follow it. 0 if there is none or it doesn't fit into 32 bits.
int string2Int(std::string_view text);

/// Appends the integers of `text` to `out`. Each may be followed by one comma or one blank. Reading
/// ends, without an error, at the first text that isn't an integer or doesn't fit into 32 bits.
void string2IntVector(std::string_view text, std::vector<int>& out);

/// The integers joined by commas, as the database stores them; `string2IntVector` is the inverse.
std::string intVector2String(const std::vector<int>& values);

}  // namespace velora
