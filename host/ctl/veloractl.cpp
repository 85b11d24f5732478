// veloractl: the service's client for people and scripts.

#include "host/BusChoice.h"
#include "host/ctl/Commands.h"
#include "host/ctl/Names.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

namespace velora::host {
namespace {

void addArguments(CLI::App& command, const CommandInfo& info, Arguments& arguments) {
    constexpr int kMaxValues = 64;
    for (const ArgumentInfo& argument : info.arguments) {
        if (argument.target == nullptr) {
            command.add_option(argument.name, arguments.values, argument.help)
                ->required()
                ->expected(1, kMaxValues);
        } else {
            command.add_option(argument.name, arguments.*argument.target, argument.help)
                ->check(notEmpty())
                ->required(!argument.isOption());
        }
    }

    // The program itself has this option too, so that it may be given before or after the command.
    command.add_flag("--json", arguments.json, "Answer in JSON");
}

/// Adds the subcommand of a name of one or two words, and for two words that of the first.
CLI::App* addCommand(CLI::App& app, const CommandInfo& info) {
    const std::string name = info.name;
    const size_t blank = name.find(' ');
    if (blank == std::string::npos) return app.add_subcommand(name, info.help);

    const std::string group = name.substr(0, blank);
    const std::string member = name.substr(blank + 1);
    const auto groups =
        app.get_subcommands([&](const CLI::App* command) { return command->get_name() == group; });
    if (!groups.empty()) return groups.front()->add_subcommand(member, info.help);

    auto* const parent = app.add_subcommand(group, "Show or change the " + group);
    parent->fallthrough();
    return parent->add_subcommand(member, info.help);
}

void print(const Json& answer, const Arguments& arguments) {
    if (answer.is_null()) return;
    const std::string text = arguments.json ? toJsonText(answer, 2) + "\n" : toText(answer);
    fputs(text.c_str(), stdout);
    if (fflush(stdout) != 0) throw CommandError(Exit::FAILED, "can't write the answer");
}

Bus connect(const BusChoice& bus) {
    try {
        return bus.connect();
    } catch (const std::system_error& e) {
        throw CommandError(Exit::NO_SERVICE, e.what());
    }
}

void execute(const BusChoice& bus, const CommandInfo& command, const Arguments& arguments) {
    Client client(connect(bus));
    if (command.needs == Needs::TUNING_FILE) client.requireReady();
    print(command.run(client, arguments), arguments);
}

/// Throws the error of a command line that contains no complete command.
[[noreturn]] void throwUnknownCommand(const CLI::App& app) {
    std::string typed;
    for (const auto* command = &app; !command->get_subcommands().empty();) {
        command = command->get_subcommands().front();
        typed += command->get_name() + " ";
    }
    for (const std::string& word : app.remaining()) typed += word + " ";
    if (!typed.empty()) typed.pop_back();

    Names names;
    for (const CommandInfo& info : commands()) names.emplace_back(kNoNumber, info.name);
    resolve(names, typed, "command");
    // It is a command, but came as one word, so it was quoted.
    throw CommandError(Exit::USAGE, "'" + typed + "' must be given as two words, without quotes");
}

/// The commands by their places in the command line.
using CommandInfos = std::map<const CLI::App*, const CommandInfo*>;

/// Returns the command that was typed. Throws CommandError if there is none, or too much follows
/// it.
const CommandInfo& typedCommand(const CLI::App& app, const CommandInfos& infos) {
    const auto found = std::find_if(infos.begin(), infos.end(),
                                    [](const auto& entry) { return entry.first->parsed(); });
    if (found == infos.end()) throwUnknownCommand(app);
    if (app.remaining_size() > 0) {
        throw CommandError(Exit::USAGE, "unexpected argument '" + app.remaining().front() + "'");
    }
    return *found->second;
}

Exit run(int argc, char** argv) {
    CLI::App app{"Controls the settings and control service of the audio effect", "veloractl"};
    app.set_version_flag("--version", VELORA_VERSION);
    app.fallthrough();
    app.allow_extras();  // reported below, with the nearest commands
    app.require_subcommand(0, 1);
    BusChoice bus;
    bus.addTo(app);
    Arguments arguments;
    app.add_flag("--json", arguments.json, "Answer in JSON");

    CommandInfos infos;
    for (const CommandInfo& info : commands()) {
        CLI::App* const command = addCommand(app, info);
        addArguments(*command, info, arguments);
        infos[command] = &info;
    }

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? Exit::SUCCESS : Exit::USAGE;
    }

    execute(bus, typedCommand(app, infos), arguments);
    return Exit::SUCCESS;
}

/// Prints the message of an exception and returns the exit status that it calls for.
Exit report(const std::exception& error) {
    fprintf(stderr, "veloractl: %s\n", error.what());
    const auto* const commandError = dynamic_cast<const CommandError*>(&error);
    return commandError != nullptr ? commandError->exit() : Exit::FAILED;
}

}  // namespace
}  // namespace velora::host

int main(int argc, char** argv) {
    // A closed pipe is reported by the write to it.
    signal(SIGPIPE, SIG_IGN);

    try {
        return static_cast<int>(velora::host::run(argc, argv));
    } catch (const std::exception& e) {
        return static_cast<int>(velora::host::report(e));
    }
}
