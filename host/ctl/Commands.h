#pragma once

#include "host/ctl/Client.h"
#include "host/ctl/Render.h"

#include <initializer_list>
#include <span>
#include <string>
#include <vector>

namespace velora::host {

/// The arguments of a command line as text; empty if not given.
struct Arguments {
    std::string profile;
    std::string port;
    std::string parameter;
    std::string device;
    std::string state;
    std::vector<std::string> values;
    bool json = false;
};

/// How one argument of a command is given.
struct ArgumentInfo {
    const char* name;  ///< in capitals if it is required and known by its position, else an option
    const char* help;
    std::string Arguments::*target;  ///< null: one or more words, into Arguments::values

    constexpr bool isOption() const { return name[0] == '-'; }
};

/// What the service must have for a command.
enum class Needs { NOTHING, TUNING_FILE };

/// One command of veloractl.
struct CommandInfo {
    const char* name;  ///< one or two words
    const char* help;
    std::initializer_list<ArgumentInfo> arguments;  ///< in their order on the command line
    Needs needs;
    /// Returns the answer to be printed, or null if it has printed everything itself. Throws
    /// CommandError and std::system_error.
    Json (*run)(Client& client, const Arguments& arguments);
};

/// All commands, in the order in which the help shows them.
std::span<const CommandInfo> commands();

}  // namespace velora::host
