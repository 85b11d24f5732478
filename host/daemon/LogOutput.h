#pragma once

#include <string>
#include <vector>

namespace velora::host {

/// Names of the log levels, for the command line.
std::vector<std::string> logLevels();

/// Sends the log of this process, which all threads may write, to standard error. Made once, by the
/// daemon's main, before other threads are started.
///
/// If standard error is connected to the journal, each line starts with its priority. Lines that
/// nobody reads are lost, and long ones are cut off, so that logging never blocks. Lines that
/// repeat are limited as LogLimiter says. Where a tuning file was refused, the lines about the
/// store that therefore couldn't be made are left out.
class LogOutput {
public:
    /// Leaves out what is below `level`, which is one of logLevels. Throws std::system_error.
    explicit LogOutput(const std::string& level);
    /// Reports all lines that were left out. The log still goes where it went.
    ~LogOutput();
    LogOutput(const LogOutput&) = delete;
    LogOutput& operator=(const LogOutput&) = delete;

    /// File descriptor that is readable when a report on lines that were left out is due.
    int reportFd() const;
    /// Writes the reports that are due.
    void report();
};

}  // namespace velora::host
