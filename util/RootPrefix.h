#pragma once

#include <string>
#include <string_view>

namespace velora {

/// Where the system keeps what it writes, and the maker's extra file. It must exist.
inline constexpr std::string_view kDataDirectory = "/data/vendor/velora/";
/// The tuning file of the machine.
inline constexpr std::string_view kTuningFile = "/odm/etc/velora/multimedia_velora_kiv_default.xml";

/// Sets the directory (without a trailing slash) below which all files of the system are located.
/// Empty, the default, means the root directory. A host or a test calls it before it uses anything
/// else of the library; later calls race with other threads.
void setRootPrefix(std::string_view prefix);

/// The path of a file of the system: the root prefix followed by `path`, which is absolute.
std::string rooted(std::string_view path);

}  // namespace velora
