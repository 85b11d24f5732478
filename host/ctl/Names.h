#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velora::host {

/// The things of one kind: number and name of each, ascending by number. Things that have names
/// only have the number kNoNumber.
using Names = std::vector<std::pair<int32_t, std::string>>;
inline constexpr int32_t kNoNumber = -1;

/// Returns the number of the thing whose name or number is `text`. Throws CommandError if there is
/// none; its message calls the thing a `kind` and names the valid numbers or the nearest names.
int32_t resolve(const Names& names, const std::string& text, const std::string& kind);

/// Returns the name of the thing with `number`, or the number as text if it isn't in `names`.
std::string nameOrNumber(const Names& names, int32_t number);

/// Parses a decimal number. Throws CommandError unless it is the whole of `text`.
int32_t parseInteger(const std::string& text);

}  // namespace velora::host
