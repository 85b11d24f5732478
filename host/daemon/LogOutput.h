#pragma once

#include <string>
#include <vector>

namespace velora::host {

/// Names of the log levels, for the command line.
std::vector<std::string> logLevels();

/// Sends the log of this process to standard error from now on, leaving out what is below `level`
/// (one of logLevels). If standard error is connected to the journal, each line starts with its
/// priority. Lines that nobody reads are lost, and long ones are cut off, so that logging never
/// blocks.
void startLogging(const std::string& level);

}  // namespace velora::host
