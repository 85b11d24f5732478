#pragma once

#include "store/UserSettings.h"

#include <string>

namespace velora {

/// Reads what a user has set from a damaged store, the file at `path`, row by row: every row of the
/// user's copies that SQLite can still read and whose checksum is right, and every such value of
/// the configuration. Logs how much was found. Leaves the file's contents as they are.
[[nodiscard]] UserSettings salvageSettings(const std::string& path);

}  // namespace velora
