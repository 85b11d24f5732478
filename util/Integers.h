#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// The integer at the start of `text`: white space, a sign, decimal digits, whatever follows. 0
/// when there is none or it doesn't fit into 32 bits.
int string2Int(std::string_view text);

/// Appends the integers of `text` to `out`, one after the other; one comma or one blank may follow
/// each. Reading ends at the first that is no integer or doesn't fit.
void string2IntVector(std::string_view text, std::vector<int>& out);

/// The integers of a list joined by commas, as they are stored: read back by `string2IntVector`.
std::string intVector2String(const std::vector<int>& values);

}  // namespace velora
