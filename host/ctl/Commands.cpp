#include "host/ctl/Commands.h"

#include "host/ctl/Resolve.h"
#include "host/ctl/Watch.h"
#include "model/Port.h"
#include "service/Protocol.h"

#include <algorithm>
#include <optional>

#include <system/audio.h>

namespace velora::host {

namespace {

int32_t maxOf(Client& client, const AdapterParameter& parameter) {
    if (parameter.max != kUpToIeqPresets) return parameter.max;
    const Names presets = presetNames(client);
    return presets.empty() ? parameter.min : presets.back().first;
}

/// What a value of a parameter applies to.
const char* applicability(Scope scope) {
    switch (scope) {
        case Scope::PROFILE:
        case Scope::GEQ_PRESET:
            return "profile";
        case Scope::ENDPOINT:
        case Scope::STEERING:
            return "profile, port";
        case Scope::HEADPHONE:
            return "profile, headphone";
        case Scope::SPEAKER:
            return "profile, speaker";
    }
    return "";
}

/// Throws CommandError unless the parameter's value in a profile can be read for one port.
void requireReadablePerPort(const AdapterParameter& parameter, int32_t profile) {
    if (parameter.scope != Scope::ENDPOINT && parameter.scope != Scope::STEERING) {
        throw CommandError(Exit::USAGE,
                           parameterName(parameter) + " has no value of its own per port");
    }

    // The request has four bits for the number of the profile.
    if (profile >= ProfileAndPort::kProfiles) {
        throw CommandError(Exit::USAGE, "only profiles 0 to 15 can be read per port");
    }
}

Integers readValues(Client& client, const AdapterParameter& parameter, int32_t profile,
                    std::optional<int32_t> port) {
    const auto length = static_cast<size_t>(parameter.length);
    if (!port) return client.get(Command::PROFILE_PARAMETER, parameter.id, profile, length);
    requireReadablePerPort(parameter, profile);
    return client.get(Command::PROFILE_PORT_PARAMETER, parameter.id,
                      ProfileAndPort{profile, *port}.word(), length);
}

/// One value of a parameter: a number, or a name where its values have names.
int32_t resolveValue(Client& client, const AdapterParameter& parameter, const std::string& text) {
    if (parameter.parameter == IEQ_ID) return resolve(presetNames(client), text, "preset");
    if (parameter.max == 1) return resolveSwitch(text, "value");

    // The service would clamp the value and not report it.
    const int32_t value = parseInteger(text);
    if (value < parameter.min || value > parameter.max) {
        throw CommandError(Exit::USAGE, text + " is out of range: " + parameterName(parameter) +
                                            " takes " + std::to_string(parameter.min) + " to " +
                                            std::to_string(parameter.max));
    }
    return value;
}

Integers resolveValues(Client& client, const AdapterParameter& parameter,
                       const std::vector<std::string>& texts) {
    if (texts.size() != static_cast<size_t>(parameter.length)) {
        throw CommandError(Exit::USAGE, parameterName(parameter) + " takes " +
                                            std::to_string(parameter.length) +
                                            (parameter.length == 1 ? " value" : " values"));
    }

    Integers values;
    for (const auto& text : texts) values.push_back(resolveValue(client, parameter, text));
    return values;
}

Json describeProfile(Client& client, const Profile& profile) {
    const int32_t selected = client.get(Command::SELECTED_PROFILE)[0];
    const bool isModified = client.get(Command::IS_PROFILE_MODIFIED, profile.first)[0] != 0;
    return {{"number", profile.first},
            {"name", profile.second},
            {"selected", profile.first == selected},
            {"modified", isModified}};
}

Json status(Client& client, const Arguments& arguments) {
    if (!client.isReady()) return {{"ready", false}, {"reason", client.notReadyReason()}};

    const auto integer = [&](uint32_t key) { return client.call<int64_t>("GetIntParam", key); };
    return {{"ready", true},
            {"enabled", client.call<bool>("GetSfxEnabled")},
            {"profile", describeProfile(client, resolveProfile(client, arguments.profile))},
            {"mono_internal_speaker", client.call<bool>("IsMonoInternalSpeaker")},
            {"speaker_portrait_mode", client.call<bool>("IsSpeakerPortraitMode")},
            {"game_system_gain", client.call<int32_t>("GetZenithGameSystemGain")},
            {"output_channels", integer(key::kOutputChannels)},
            {"decoders",
             {{"cp", client.call<bool>("HasDecCP")},
              {"dv", client.call<bool>("HasDecDV")},
              {"multichannel_dv", client.call<bool>("HasMulitchannelDecDV")}}},
            {"game_sfx", integer(key::kGameEffect) != 0},
            {"spatializer", integer(key::kSpatializer) != 0}};
}

Json enable(Client& client, const Arguments& arguments) {
    client.set(Command::SWITCH_EFFECT, {resolveSwitch(arguments.state, "state")});
    return {{"enabled", client.call<bool>("GetSfxEnabled")}};
}

Json listProfiles(Client& client, const Arguments&) {
    Json list = Json::array();
    for (const auto& profile : profileNames(client)) {
        list.push_back(describeProfile(client, profile));
    }
    return list;
}

Json selectProfile(Client& client, const Arguments& arguments) {
    const Profile profile = resolveProfile(client, arguments.profile);
    client.set(Command::SELECTED_PROFILE, {profile.first});
    return describeProfile(client, profile);
}

Json showProfile(Client& client, const Arguments& arguments) {
    const Profile profile = resolveProfile(client, arguments.profile);
    Json answer = describeProfile(client, profile);

    Json& parameters = answer["parameters"];
    for (const AdapterParameter& row : kAdapterParameters) {
        parameters[parameterName(row)] = readValues(client, row, profile.first, std::nullopt);
    }
    return answer;
}

Json resetProfile(Client& client, const Arguments& arguments) {
    const Profile profile = resolveProfile(client, arguments.profile);
    client.set(Command::RESET_PROFILE, {profile.first});
    return describeProfile(client, profile);
}

Json listParameters(Client& client, const Arguments&) {
    Json list = Json::array();
    for (const AdapterParameter& row : kAdapterParameters) {
        list.push_back({{"number", row.id},
                        {"name", parameterName(row)},
                        {"min", row.min},
                        {"max", maxOf(client, row)},
                        {"length", row.length},
                        {"applies", applicability(row.scope)}});
    }

    return list;
}

Json getParameter(Client& client, const Arguments& arguments) {
    const AdapterParameter& parameter = resolveParameter(arguments.parameter);
    const Profile profile = resolveProfile(client, arguments.profile);
    const auto port = resolvePortIfGiven(arguments.port);

    Json answer{{"parameter", parameterName(parameter)},
                {"number", parameter.id},
                {"profile", profile.second}};
    if (port) answer["port"] = portName(*port);

    answer["values"] = readValues(client, parameter, profile.first, port);
    return answer;
}

/// Throws CommandError unless the parameter can be set in a profile, for a port if one is given. We
/// read the value back, so it must also be readable.
void requireSettable(const AdapterParameter& parameter, int32_t profile,
                     std::optional<int32_t> port) {
    if (!port) return;
    requireReadablePerPort(parameter, profile);

    // The service ignores the setting on other ports.
    if (parameter.id == kVirtualBassEnable && *port != PORT_INTERNAL_SPEAKER) {
        throw CommandError(Exit::USAGE,
                           parameterName(parameter) + " applies to the internal_speaker only");
    }
}

/// Reports values that differ from the requested ones.
[[noreturn]] void throwNotApplied(const AdapterParameter& parameter, const Json& values) {
    const std::string reason = parameter.scope == Scope::STEERING
                                   ? "the profile is not in headphone virtualizer mode 1, so its "
                                     "rendering configuration was restored"
                                   : "the service did not apply the change";
    throw CommandError(Exit::REFUSED, reason + ": the values are " + toLine(values));
}

Json setParameter(Client& client, const Arguments& arguments) {
    const AdapterParameter& parameter = resolveParameter(arguments.parameter);
    const Integers values = resolveValues(client, parameter, arguments.values);
    const int32_t profile = resolveProfile(client, arguments.profile).first;
    const auto port = resolvePortIfGiven(arguments.port);
    requireSettable(parameter, profile, port);

    Integers words{profile};
    if (port) words.push_back(*port);
    words.push_back(parameter.id);
    words.insert(words.end(), values.begin(), values.end());
    client.set(port ? Command::PROFILE_PORT_PARAMETER : Command::PROFILE_PARAMETER, words);

    // The service doesn't report whether it applied the change.
    Json answer = getParameter(client, arguments);
    if (answer["values"].get<Integers>() != values) throwNotApplied(parameter, answer["values"]);
    return answer;
}

Json listPresets(Client& client, const Arguments&) {
    Json list = Json::array();
    for (const auto& [number, name] : presetNames(client)) {
        list.push_back({{"number", number}, {"name", name}});
    }
    return list;
}

std::string selectedDevice(Client& client, int32_t port) {
    return client.call<std::string>("GetSelectedTuningDevice", port);
}

Json listDevices(Client& client, const Arguments& arguments) {
    Json list = Json::array();
    for (const int32_t port : resolvePorts(arguments.port)) {
        const std::string selected = selectedDevice(client, port);
        for (const std::string& device : deviceNames(client, port)) {
            list.push_back(
                {{"port", portName(port)}, {"device", device}, {"selected", device == selected}});
        }
    }
    return list;
}

Json showDevices(Client& client, const Arguments& arguments) {
    Json answer;
    for (const int32_t port : resolvePorts(arguments.port)) {
        answer[portName(port)] = selectedDevice(client, port);
    }
    return answer;
}

Json selectDevice(Client& client, const Arguments& arguments) {
    const int32_t port = resolvePort(arguments.port);
    const std::string& device = arguments.device;
    Names names;
    for (const auto& name : deviceNames(client, port)) names.emplace_back(kNoNumber, name);
    resolve(names, device, "device");

    // The notification of a selected device is its name.
    client.awaitUpdate({device.begin(), device.end()},
                       [&] { client.call("SetSelectedTuningDevice", port, device); });
    return showDevices(client, arguments);
}

constexpr char kAllOutputDevices[] = "all";

std::string outputDeviceName(uint32_t bits) {
    if (bits == AUDIO_DEVICE_OUT_DEFAULT) return kAllOutputDevices;
    const Port* const port = kPortForDevice.find(bits);
    return port != nullptr ? portName(*port) : std::to_string(bits);
}

/// An effect parameter's number as the characters that it is made of, the first in the lowest byte;
/// dots in place of those that don't print.
std::string shortName(uint32_t id) {
    std::string name;
    for (int shift = 0; shift < 32; shift += 8) {
        const char c = static_cast<char>(id >> shift & 0xff);
        if (c != '\0') name.push_back(c > ' ' && c < 127 ? c : '.');
    }
    return name;
}

Json showEffect(Client& client, const Arguments& arguments) {
    const auto port = resolvePortIfGiven(arguments.port);
    const std::string wanted =
        port ? outputDeviceName(portInfo(static_cast<Port>(*port)).device) : "";
    const auto [result, params] =
        client.call<std::tuple<int32_t, StoredParams>>("GetStoredParams", true);

    Json list = Json::array();
    for (const auto& [bits, values] : params) {
        const std::string device = outputDeviceName(bits);
        if (port && device != wanted && device != kAllOutputDevices) continue;
        for (const auto& [id, value] : values) {
            list.push_back({{"device", device}, {"parameter", shortName(id)}, {"values", value}});
        }
    }
    return list;
}

Json reload(Client& client, const Arguments&) {
    const auto updates = client.collectUpdates(
        [&] { client.call("SetIntParam", uint32_t{key::kReload}, int64_t{0}); });

    // The service notifies its clients of a successful reload by an empty buffer.
    if (std::find(updates.begin(), updates.end(), Bytes()) == updates.end()) {
        throw CommandError(Exit::REFUSED,
                           "the service did not load the extra tuning file; see its log");
    }
    return {{"reloaded", true}};
}

Json versions(Client& client, const Arguments&) {
    constexpr int64_t kField =
        1000;  // the version is major, minor and maintenance, each below this
    const auto format = client.call<int64_t>("GetDefaultXmlFormatVersion");

    // Without a tuning file the format is negative, and shown as null.
    Json answer{{"veloractl", VELORA_VERSION}, {"velorad", client.property("Version")}};
    answer["tuning_format"] = format < 0 ? Json()
                                         : Json(std::to_string(format / kField / kField) + "." +
                                                std::to_string(format / kField % kField) + "." +
                                                std::to_string(format % kField));
    return answer;
}

constexpr ArgumentInfo kProfile{"PROFILE", "Number or name of a profile", &Arguments::profile};
constexpr ArgumentInfo kPort{"PORT", "Number or name of a port", &Arguments::port};
constexpr ArgumentInfo kParameter{"PARAMETER", "Number or name of a parameter",
                                  &Arguments::parameter};
constexpr ArgumentInfo kDevice{"DEVICE", "Name of a tuning device", &Arguments::device};
constexpr ArgumentInfo kState{"STATE", "on or off", &Arguments::state};
constexpr ArgumentInfo kValues{"VALUE", "Numbers, or names where there are any", nullptr};
constexpr ArgumentInfo kProfileOption{
    "--profile", "Number or name of a profile (default: the selected one)", &Arguments::profile};
constexpr ArgumentInfo kPortOption{"--port", "Number or name of a port", &Arguments::port};

constexpr CommandInfo kCommands[] = {
    {"status", "Show what is on and selected", {}, Needs::NOTHING, status},
    {"enable", "Switch the effect on or off", {kState}, Needs::TUNING_FILE, enable},
    {"profiles list", "List the profiles", {}, Needs::TUNING_FILE, listProfiles},
    {"profiles select", "Select a profile", {kProfile}, Needs::TUNING_FILE, selectProfile},
    {"profiles show",
     "Show a profile and its parameters",
     {kProfile},
     Needs::TUNING_FILE,
     showProfile},
    {"profiles reset",
     "Restore the values of the tuning file in a profile",
     {kProfile},
     Needs::TUNING_FILE,
     resetProfile},
    {"params", "List the parameters", {}, Needs::TUNING_FILE, listParameters},
    {"get",
     "Show the values of a parameter",
     {kParameter, kProfileOption, kPortOption},
     Needs::TUNING_FILE,
     getParameter},
    {"set",
     "Change the values of a parameter",
     {kParameter, kValues, kProfileOption, kPortOption},
     Needs::TUNING_FILE,
     setParameter},
    {"presets",
     "List the presets of the intelligent equalizer",
     {},
     Needs::TUNING_FILE,
     listPresets},
    {"devices list",
     "List the tuning devices of the ports",
     {kPortOption},
     Needs::TUNING_FILE,
     listDevices},
    {"devices show",
     "Show the selected tuning devices",
     {kPortOption},
     Needs::TUNING_FILE,
     showDevices},
    {"devices select",
     "Select the tuning device of a port",
     {kPort, kDevice},
     Needs::TUNING_FILE,
     selectDevice},
    {"watch", "Print each notification until interrupted", {}, Needs::TUNING_FILE, watch},
    {"effect",
     "Show the parameters that the effect receives",
     {kPortOption},
     Needs::NOTHING,
     showEffect},
    {"reload", "Read the extra tuning file again", {}, Needs::TUNING_FILE, reload},
    {"version",
     "Show the versions of program, service and tuning file",
     {},
     Needs::NOTHING,
     versions},
};

}  // namespace

std::span<const CommandInfo> commands() { return kCommands; }

}  // namespace velora::host
