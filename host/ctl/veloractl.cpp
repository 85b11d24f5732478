// veloractl: the service's client for people and scripts.

#include "host/Connect.h"
#include "host/ctl/Commands.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

namespace velora::host {
namespace {

/// How the arguments of the commands are given: their letter in the table, and where they go.
struct ArgumentInfo {
    char letter;  ///< lower case: positional; upper case: an option that may be left out
    const char* name;
    const char* help;
    std::string Arguments::*place;
};

constexpr ArgumentInfo kArguments[] = {
    {'p', "PROFILE", "Number or name of a profile", &Arguments::profile},
    {'o', "PORT", "Number or name of a port", &Arguments::port},
    {'a', "PARAMETER", "Number or name of a parameter", &Arguments::parameter},
    {'d', "DEVICE", "Name of a tuning device", &Arguments::device},
    {'s', "STATE", "on or off", &Arguments::state},
    {'P', "--profile", "Number or name of a profile (default: the selected one)",
     &Arguments::profile},
    {'O', "--port", "Number or name of a port", &Arguments::port},
};

void addArguments(CLI::App& command, const CommandInfo& info, Arguments& arguments) {
    for (const char* letter = info.arguments; *letter != '\0'; ++letter) {
        if (*letter == 'v') {
            command.add_option("VALUE", arguments.values, "Numbers, or names where there are any")
                ->required()
                ->expected(1, 64);
        }
        for (const ArgumentInfo& argument : kArguments) {
            if (argument.letter != *letter) continue;
            auto* const option =
                command.add_option(argument.name, arguments.*argument.place, argument.help)
                    ->check(notEmpty());
            if (argument.name[0] != '-') option->required();
        }
    }
    command.add_flag("--json", arguments.json, "Answer in JSON");
}

/// The subcommand of a name of one or two words.
CLI::App* addCommand(CLI::App& app, const CommandInfo& info) {
    const std::string name = info.name;
    const size_t blank = name.find(' ');
    if (blank == std::string::npos) return app.add_subcommand(name, info.help);
    const std::string group = name.substr(0, blank);
    const auto groups =
        app.get_subcommands([&](const CLI::App* command) { return command->get_name() == group; });
    if (!groups.empty()) return groups.front()->add_subcommand(name.substr(blank + 1), info.help);
    auto* const parent = app.add_subcommand(group, "Look at the " + group + " and choose");
    parent->fallthrough();
    return parent->add_subcommand(name.substr(blank + 1), info.help);
}

void print(const Json& answer, bool json) {
    if (answer.is_null()) return;
    const std::string text = json
                                 ? answer.dump(2, ' ', false, Json::error_handler_t::replace) + "\n"
                                 : printedForm(answer);
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
    if (command.needs == Needs::TUNING && !client.isReady()) {
        throw CommandError(Exit::NOT_READY, "the service is not ready: it has no tuning file");
    }
    print(command.run(client, arguments), arguments.json);
}

/// Says what is wrong with a command line that has none of the commands.
[[noreturn]] void refuse(const CLI::App& app) {
    std::string typed;
    for (const auto* command = &app; !command->get_subcommands().empty();) {
        command = command->get_subcommands().front();
        typed += command->get_name() + " ";
    }
    for (const std::string& word : app.remaining()) typed += word + " ";
    if (!typed.empty()) typed.pop_back();
    Names names;
    for (const CommandInfo& info : commands()) names.emplace_back(kNoNumber, info.name);
    pick(names, typed, "command");
    throw CommandError(Exit::USAGE, "'" + typed + "' is to be given as two words");
}

Exit run(int argc, char** argv) {
    CLI::App app{"Controls the settings and control service of the audio effect", "veloractl"};
    app.set_version_flag("--version", VELORA_VERSION);
    app.fallthrough();
    app.allow_extras();
    app.require_subcommand(0, 1);
    BusChoice bus;
    bus.addTo(app);
    Arguments arguments;
    app.add_flag("--json", arguments.json, "Answer in JSON");
    std::map<const CLI::App*, const CommandInfo*> infos;
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
    const auto found = std::find_if(infos.begin(), infos.end(),
                                    [](const auto& entry) { return entry.first->parsed(); });
    if (found == infos.end()) refuse(app);
    if (app.remaining_size() > 0) {
        throw CommandError(Exit::USAGE, "unexpected argument '" + app.remaining().front() + "'");
    }
    execute(bus, *found->second, arguments);
    return Exit::SUCCESS;
}

/// The exit status of a program whose work threw.
Exit report(const std::exception_ptr& thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const CommandError& e) {
        fprintf(stderr, "veloractl: %s\n", e.what());
        return e.exit();
    } catch (const std::exception& e) {
        fprintf(stderr, "veloractl: %s\n", e.what());
        return Exit::FAILED;
    }
}

}  // namespace
}  // namespace velora::host

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    try {
        return static_cast<int>(velora::host::run(argc, argv));
    } catch (...) {
        return static_cast<int>(velora::host::report(std::current_exception()));
    }
}
