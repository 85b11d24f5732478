#include "host/ctl/Notification.h"

#include "host/ctl/Resolve.h"
#include "service/Protocol.h"

namespace velora::host {

namespace {

std::string parameterNameOrNumber(int32_t number) {
    for (const AdapterParameter& row : kAdapterParameters) {
        if (row.id == number) return parameterName(row);
    }
    return std::to_string(number);
}

/// How the set-request of a command is described, given its words.
struct CommandEvent {
    Command command;
    Json (*describe)(const Words& words, const Names& profiles);
};

constexpr CommandEvent kCommandEvents[] = {
    {Command::SWITCH_EFFECT,
     [](const Words& words, const Names&) -> Json {
         return {{"event", "effect switched"}, {"enabled", words[2] > 0}};
     }},
    {Command::PROFILE_PARAMETER,
     [](const Words& words, const Names& profiles) -> Json {
         return {{"event", "parameter set"},
                 {"profile", nameOrNumber(profiles, words[2])},
                 {"parameter", parameterNameOrNumber(words[3])},
                 {"asked", words.from(4)}};
     }},
    {Command::PROFILE_PORT_PARAMETER,
     [](const Words& words, const Names& profiles) -> Json {
         return {{"event", "parameter set"},
                 {"profile", nameOrNumber(profiles, words[2])},
                 {"port", portName(words[3])},
                 {"parameter", parameterNameOrNumber(words[4])},
                 {"asked", words.from(5)}};
     }},
    {Command::SELECTED_PROFILE,
     [](const Words& words, const Names& profiles) -> Json {
         return {{"event", "profile selected"}, {"profile", nameOrNumber(profiles, words[2])}};
     }},
    {Command::RESET_PROFILE,
     [](const Words& words, const Names& profiles) -> Json {
         return {{"event", "profile reset"}, {"profile", nameOrNumber(profiles, words[2])}};
     }},
};

}  // namespace

Json describeUpdate(const Bytes& update, const Names& profiles) {
    if (update.empty()) return {{"event", "tunings reloaded"}};
    const Words words(update.data(), update.size());
    if (isRegistrationNotice(words)) return {{"event", "clients changed"}};

    for (const CommandEvent& event : kCommandEvents) {
        const bool hasArgument = update.size() > SetRequest::kFirstArgument * Words::kSize;
        if (words[SetRequest::kCommand] == wordOf(event.command) && hasArgument) {
            return event.describe(words, profiles);
        }
    }

    // A command begins with a zero byte, the name of a device never does.
    if (update[0] == 0) return {{"event", "unknown command"}};
    return {{"event", "device asked for"}, {"device", std::string(update.begin(), update.end())}};
}

std::string toSentence(const Json& event) {
    std::string details;
    for (const auto& [name, value] : event.items()) {
        if (name == "event") continue;
        details.append(details.empty() ? ": " : ", ").append(name + " " + toLine(value));
    }
    return toLine(event["event"]) + details;
}

}  // namespace velora::host
