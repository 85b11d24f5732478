#pragma once

#include "host/ctl/Client.h"
#include "service/AdapterParameter.h"

#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace velora::host {

using Json = nlohmann::ordered_json;

/// What the arguments of a command line mean, as text; empty if not given.
struct Arguments {
    std::string profile;
    std::string port;
    std::string parameter;
    std::string device;
    std::string state;
    std::vector<std::string> values;
    bool json = false;
};

/// What must be there for a command.
enum class Needs { SERVICE, TUNING };

/// One thing that veloractl does.
struct CommandInfo {
    const char* name;  ///< one or two words
    const char* help;
    /// Its arguments, one letter each and in this order: p profile, o port, a parameter, d device,
    /// s state, v values; upper case for options that may be left out.
    const char* arguments;
    Needs needs;
    /// Throws CommandError. Null: it prints nothing more.
    Json (*run)(Client& client, const Arguments& arguments);
};

/// All of them, in the order in which help shows them.
std::span<const CommandInfo> commands();

/// An answer as text for people: the values of a parameter alone, a list of things as a table, a
/// thing as lines of names and values.
std::string printedForm(const Json& answer);

/// A value in one line: text with its control characters escaped, yes or no, the items of a list
/// with blanks between them.
std::string wordsOf(const Json& value);

/// A parameter's catalogue name, with the endpoint before it where it is for one only.
std::string parameterName(const AdapterParameter& parameter);

/// Numbers and names of the service's profiles.
Names profilesOf(Client& client);

/// Prints every notification until interrupted; returns null.
Json watch(Client& client, const Arguments& arguments);

}  // namespace velora::host
