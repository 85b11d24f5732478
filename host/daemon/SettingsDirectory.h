#pragma once

#include <string>

namespace velora::host {

/// Locks the directory of the settings until this process ends, so that no other daemon uses it,
/// whatever bus that one is on. Takes all permissions on the directory and its files away from
/// other users. `command` is the command line of this process.
///
/// Throws std::runtime_error, and has changed nothing, if another process has locked the directory,
/// which the message names, or if the directory can't be opened. A file in the directory names the
/// process; the lock doesn't depend on that file.
void lockSettings(const std::string& directory, const std::string& command);

}  // namespace velora::host
