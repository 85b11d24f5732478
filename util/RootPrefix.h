#pragma once

#include <string>
#include <string_view>

namespace velora {

/// Where the system keeps what it writes, and the maker's extra file. It must exist.
inline constexpr std::string_view kDataDirectory = "/data/vendor/velora/";

/// Puts all files of the system below `prefix` (no slash at its end); empty, as on a device, leaves
/// them where they are. Set once, before anything else of the library is used.
void setRootPrefix(std::string_view prefix);

/// The place of the system's file `path` (absolute) below the root prefix.
std::string rooted(std::string_view path);

}  // namespace velora
