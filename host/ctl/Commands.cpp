#include "host/ctl/Commands.h"

#include "model/Port.h"
#include "service/Protocol.h"

#include <algorithm>
#include <sstream>

#include <system/audio.h>

namespace velora::host {

namespace {

using velora::fourCharacters;

}  // namespace

std::string parameterName(const AdapterParameter& parameter) {
    std::string name(parameterInfo(parameter.parameter).column);
    if (parameter.scope == Scope::HEADPHONE) return "headphone_" + name;
    if (parameter.scope == Scope::SPEAKER) return "speaker_" + name;
    return name;
}

Names profilesOf(Client& client) {
    Names names;
    const int32_t count = client.get(Command::PROFILE_COUNT)[0];
    for (int32_t i = 0; i < count; ++i) {
        names.emplace_back(i, client.call<std::string>("GetProfileName", i));
    }
    return names;
}

namespace {

Names presetsOf(Client& client) {
    Names names;
    const int32_t count = client.get(Command::IEQ_PRESET_COUNT)[0];
    for (int32_t i = 0; i <= count; ++i) {
        const auto name = client.call<std::string>("GetIeqPresetName", i);
        if (!name.empty()) names.emplace_back(i, name);
    }
    return names;
}

Names portNames() {
    Names names;
    for (const PortInfo& info : kPorts) names.emplace_back(info.port, info.name);
    return names;
}

/// Each port's endpoint has a value of its own.
bool isPerPort(const AdapterParameter& parameter) {
    return parameter.scope == Scope::ENDPOINT || parameter.scope == Scope::STEERING;
}

Names parameterNames() {
    Names names;
    for (const AdapterParameter& row : kAdapterParameters)
        names.emplace_back(row.id, parameterName(row));
    return names;
}

std::vector<std::string> devicesOf(Client& client, int32_t port) {
    const auto length = client.call<int32_t>("GetAvailableTuningDevicesLen", port);
    const Bytes bytes = client.call<Bytes>("GetAvailableTuningDevices", port, length);
    std::istringstream list(std::string(bytes.begin(), bytes.end()));
    std::vector<std::string> devices;
    for (std::string device; list >> device;) devices.push_back(device);
    return devices;
}

std::string selectedDevice(Client& client, int32_t port) {
    return client.call<std::string>("GetSelectedTuningDevice", port);
}

/// The profile that is meant: the selected one if none is.
std::pair<int32_t, std::string> profileOf(Client& client, const Arguments& arguments) {
    const Names profiles = profilesOf(client);
    const int32_t number = arguments.profile.empty() ? client.get(Command::SELECTED_PROFILE)[0]
                                                     : pick(profiles, arguments.profile, "profile");
    const auto profile = std::find_if(profiles.begin(), profiles.end(),
                                      [&](const auto& p) { return p.first == number; });
    return profile != profiles.end() ? *profile : std::pair{number, std::string()};
}

int32_t portOf(const Arguments& arguments) { return pick(portNames(), arguments.port, "port"); }

/// The ports that are meant: those with a tuning, if none is.
std::vector<int32_t> portsOf(const Arguments& arguments) {
    if (!arguments.port.empty()) return {portOf(arguments)};
    return {kSupportedPorts.begin(), kSupportedPorts.end()};
}

const AdapterParameter& parameterOf(const Arguments& arguments) {
    const int32_t number = pick(parameterNames(), arguments.parameter, "parameter");
    return kAdapterParameters[static_cast<size_t>(number - kFirstAdapterParameter)];
}

int32_t maxOf(Client& client, const AdapterParameter& parameter) {
    if (parameter.max != kUpToIeqPresets) return parameter.max;
    const Names presets = presetsOf(client);
    return presets.empty() ? parameter.min : presets.back().first;
}

/// What a value of a parameter holds for.
const char* reachOf(Scope scope) {
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

Integers valuesOf(Client& client, const AdapterParameter& parameter, int32_t profile,
                  int32_t port) {
    constexpr int32_t kAnyPort = -1;
    if (port == kAnyPort) {
        return client.get(Command::PROFILE_PARAMETER, parameter.id, profile,
                          static_cast<size_t>(parameter.length));
    }
    if (!isPerPort(parameter)) {
        throw CommandError(Exit::USAGE,
                           parameterName(parameter) + " has no value of its own per port");
    }
    if (profile >= ProfileAndPort::kProfiles) {
        throw CommandError(Exit::USAGE, "only profiles 0 to 15 can be read per port");
    }
    return client.get(Command::PROFILE_PORT_PARAMETER, parameter.id,
                      ProfileAndPort{profile, port}.word(), static_cast<size_t>(parameter.length));
}

int32_t portOrAny(const Arguments& arguments) {
    return arguments.port.empty() ? -1 : portOf(arguments);
}

/// One value of a parameter: a number, or a name where it has names.
int32_t valueOf(Client& client, const AdapterParameter& parameter, const std::string& text) {
    if (parameter.parameter == IEQ_ID) return pick(presetsOf(client), text, "preset");
    if (parameter.max == 1) return pick({{0, "off"}, {1, "on"}}, text, "value");
    const int32_t value = integerOf(text);
    if (value < parameter.min || value > parameter.max) {
        throw CommandError(Exit::USAGE, text + " is out of range: " + parameterName(parameter) +
                                            " takes " + std::to_string(parameter.min) + " to " +
                                            std::to_string(parameter.max));
    }
    return value;
}

Json describeProfile(Client& client, const std::pair<int32_t, std::string>& profile) {
    const int32_t selected = client.get(Command::SELECTED_PROFILE)[0];
    const bool modified = client.get(Command::IS_PROFILE_MODIFIED, profile.first)[0] != 0;
    return {{"number", profile.first},
            {"name", profile.second},
            {"selected", profile.first == selected},
            {"modified", modified}};
}

Json status(Client& client, const Arguments& arguments) {
    if (!client.isReady()) return {{"ready", false}};
    const auto integer = [&](uint32_t key) { return client.call<int64_t>("GetIntParam", key); };
    return {{"ready", true},
            {"enabled", client.call<bool>("GetSfxEnabled")},
            {"profile", describeProfile(client, profileOf(client, arguments))},
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
    const int32_t on = pick({{0, "off"}, {1, "on"}}, arguments.state, "state");
    client.set(Command::SWITCH_EFFECT, {on});
    return {{"enabled", client.call<bool>("GetSfxEnabled")}};
}

Json listProfiles(Client& client, const Arguments&) {
    Json list = Json::array();
    for (const auto& profile : profilesOf(client)) list.push_back(describeProfile(client, profile));
    return list;
}

Json selectProfile(Client& client, const Arguments& arguments) {
    const auto profile = profileOf(client, arguments);
    client.set(Command::SELECTED_PROFILE, {profile.first});
    return describeProfile(client, profile);
}

Json showProfile(Client& client, const Arguments& arguments) {
    const auto profile = profileOf(client, arguments);
    Json answer = describeProfile(client, profile);
    Json& parameters = answer["parameters"];
    for (const AdapterParameter& row : kAdapterParameters) {
        parameters[parameterName(row)] = valuesOf(client, row, profile.first, portOrAny({}));
    }
    return answer;
}

Json resetProfile(Client& client, const Arguments& arguments) {
    const auto profile = profileOf(client, arguments);
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
                        {"applies", reachOf(row.scope)}});
    }
    return list;
}

Json getParameter(Client& client, const Arguments& arguments) {
    const AdapterParameter& parameter = parameterOf(arguments);
    const auto profile = profileOf(client, arguments);
    const int32_t port = portOrAny(arguments);
    Json answer{{"parameter", parameterName(parameter)},
                {"number", parameter.id},
                {"profile", profile.second}};
    if (port >= 0) answer["port"] = portInfo(static_cast<Port>(port)).name;
    answer["values"] = valuesOf(client, parameter, profile.first, port);
    return answer;
}

Integers askedValues(Client& client, const AdapterParameter& parameter,
                     const Arguments& arguments) {
    if (arguments.values.size() != static_cast<size_t>(parameter.length)) {
        throw CommandError(Exit::USAGE, parameterName(parameter) + " has a length of " +
                                            std::to_string(parameter.length));
    }
    Integers values;
    for (const auto& text : arguments.values) values.push_back(valueOf(client, parameter, text));
    return values;
}

/// Ends a change after which the values are others than those asked for.
[[noreturn]] void notTaken(const AdapterParameter& parameter, const Json& values) {
    const std::string why = parameter.scope == Scope::STEERING
                                ? "the profile isn't in headphone virtualizer mode 1, so that its "
                                  "rendering configuration was restored"
                                : "not taken";
    throw CommandError(Exit::REFUSED, why + ": the values are " + wordsOf(values));
}

Json setParameter(Client& client, const Arguments& arguments) {
    const AdapterParameter& parameter = parameterOf(arguments);
    const Integers values = askedValues(client, parameter, arguments);
    const int32_t profile = profileOf(client, arguments).first;
    const int32_t port = portOrAny(arguments);
    valuesOf(client, parameter, profile, port);  // refuses what can't be
    if (parameter.id == kVirtualBassEnable && port > PORT_INTERNAL_SPEAKER) {
        throw CommandError(Exit::USAGE,
                           parameterName(parameter) + " is the internal_speaker's only");
    }
    Integers words{profile};
    if (port >= 0) words.push_back(port);
    words.push_back(parameter.id);
    words.insert(words.end(), values.begin(), values.end());
    client.set(port >= 0 ? Command::PROFILE_PORT_PARAMETER : Command::PROFILE_PARAMETER, words);
    Json answer = getParameter(client, arguments);
    if (answer["values"].get<Integers>() != values) notTaken(parameter, answer["values"]);
    return answer;
}

Json listPresets(Client& client, const Arguments&) {
    Json list = Json::array();
    for (const auto& [number, name] : presetsOf(client)) {
        list.push_back({{"number", number}, {"name", name}});
    }
    return list;
}

Json listDevices(Client& client, const Arguments& arguments) {
    Json list = Json::array();
    for (const int32_t port : portsOf(arguments)) {
        const std::string selected = selectedDevice(client, port);
        for (const std::string& device : devicesOf(client, port)) {
            list.push_back({{"port", portInfo(static_cast<Port>(port)).name},
                            {"device", device},
                            {"selected", device == selected}});
        }
    }
    return list;
}

Json showDevices(Client& client, const Arguments& arguments) {
    Json answer;
    for (const int32_t port : portsOf(arguments)) {
        answer[std::string(portInfo(static_cast<Port>(port)).name)] = selectedDevice(client, port);
    }
    return answer;
}

Json selectDevice(Client& client, const Arguments& arguments) {
    const int32_t port = portOf(arguments);
    Names names;
    for (const auto& device : devicesOf(client, port)) names.emplace_back(kNoNumber, device);
    pick(names, arguments.device, "device");
    client.awaitUpdate({arguments.device.begin(), arguments.device.end()},
                       [&] { client.call("SetSelectedTuningDevice", port, arguments.device); });
    return showDevices(client, arguments);
}

constexpr char kAllDevices[] = "all";

std::string deviceName(uint32_t bits) {
    if (bits == AUDIO_DEVICE_OUT_DEFAULT) return kAllDevices;
    const Port* const port = kPortForDevice.find(bits);
    return port != nullptr ? std::string(portInfo(*port).name) : std::to_string(bits);
}

/// The four characters of an effect parameter's number; dots for those that don't print.
std::string shortName(uint32_t id) {
    std::string name;
    for (int shift = 0; shift < 32; shift += 8) {
        const char c = static_cast<char>(id >> shift & 0xff);
        if (c != '\0') name.push_back(c > ' ' && c < 127 ? c : '.');
    }
    return name;
}

Json showEffect(Client& client, const Arguments& arguments) {
    const std::string wanted =
        arguments.port.empty() ? ""
                               : deviceName(portInfo(static_cast<Port>(portOf(arguments))).device);
    const auto [result, params] =
        client.call<std::tuple<int32_t, StoredParams>>("GetStoredParams", true);
    Json list = Json::array();
    for (const auto& [bits, values] : params) {
        const std::string device = deviceName(bits);
        if (!wanted.empty() && device != wanted && device != kAllDevices) continue;
        for (const auto& [id, value] : values) {
            list.push_back({{"device", device}, {"parameter", shortName(id)}, {"values", value}});
        }
    }
    return list;
}

Json reload(Client& client, const Arguments&) {
    // What it brings is an empty update.
    const auto updates =
        client.updatesOf([&] { client.call("SetIntParam", uint32_t{key::kReload}, int64_t{0}); });
    if (std::find(updates.begin(), updates.end(), Bytes()) == updates.end()) {
        throw CommandError(Exit::REFUSED, "the extra tuning file was not taken; see the log");
    }
    return {{"reloaded", true}};
}

Json versions(Client& client, const Arguments&) {
    constexpr int64_t kField = 1000;
    const auto format = client.call<int64_t>("GetDefaultXmlFormatVersion");
    Json answer{{"veloractl", VELORA_VERSION}, {"velorad", client.version()}};
    answer["tuning_format"] = format < 0 ? Json()
                                         : Json(std::to_string(format / kField / kField) + "." +
                                                std::to_string(format / kField % kField) + "." +
                                                std::to_string(format % kField));
    return answer;
}

constexpr CommandInfo kCommands[] = {
    {"status", "Show what is on and selected", "", Needs::SERVICE, status},
    {"enable", "Switch the effect on or off", "s", Needs::TUNING, enable},
    {"profiles list", "List the profiles", "", Needs::TUNING, listProfiles},
    {"profiles select", "Select a profile", "p", Needs::TUNING, selectProfile},
    {"profiles show", "Show a profile and its parameters", "p", Needs::TUNING, showProfile},
    {"profiles reset", "Put a profile back to the tuning file's values", "p", Needs::TUNING,
     resetProfile},
    {"params", "List the parameters", "", Needs::TUNING, listParameters},
    {"get", "Show the values of a parameter", "aPO", Needs::TUNING, getParameter},
    {"set", "Change the values of a parameter", "avPO", Needs::TUNING, setParameter},
    {"presets", "List the presets of the intelligent equaliser", "", Needs::TUNING, listPresets},
    {"devices list", "List the tuning devices of the ports", "O", Needs::TUNING, listDevices},
    {"devices show", "Show the selected tuning devices", "O", Needs::TUNING, showDevices},
    {"devices select", "Select the tuning device of a port", "od", Needs::TUNING, selectDevice},
    {"watch", "Print each notification until interrupted", "", Needs::TUNING, watch},
    {"effect", "Show the parameters that the effect sees", "O", Needs::SERVICE, showEffect},
    {"reload", "Have the extra tuning file read again", "", Needs::TUNING, reload},
    {"version", "Show the versions of program, service and tuning file", "", Needs::SERVICE,
     versions},
};

/// `text` with its control characters, which a terminal would obey, as \x and their number.
std::string printable(const std::string& text) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string shown;
    uint8_t previous = 0;
    for (const char c : text) {
        const auto byte = static_cast<uint8_t>(c);
        const bool isUpperControl = previous == 0xc2 && byte >= 0x80 && byte < 0xa0;  // in UTF-8
        if (byte < ' ' || byte == 0x7f || isUpperControl) {
            shown.append("\\x").append({kDigits[byte >> 4], kDigits[byte & 0xf]});
        } else {
            shown.push_back(c);
        }
        previous = byte;
    }
    return shown;
}

std::string tableOf(const Json& list) {
    std::vector<std::vector<std::string>> rows(1);
    for (const auto& [name, value] : list.front().items()) rows[0].push_back(name);
    for (const Json& item : list) {
        auto& row = rows.emplace_back();
        for (const auto& [name, value] : item.items()) row.push_back(wordsOf(value));
    }
    std::vector<size_t> widths(rows[0].size());
    for (const auto& row : rows) {
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    std::string text;
    for (auto& row : rows) {
        for (size_t i = 0; i + 1 < row.size(); ++i) row[i].resize(widths[i] + 2, ' ');
        for (const auto& cell : row) text += cell;
        text += '\n';
    }
    return text;
}

std::string linesOf(const Json& thing, const std::string& indent) {
    std::string text;
    for (const auto& [name, value] : thing.items()) {
        text.append(indent).append(name).append(":");
        text +=
            value.is_object() ? "\n" + linesOf(value, indent + "  ") : " " + wordsOf(value) + "\n";
    }
    return text;
}

}  // namespace

std::span<const CommandInfo> commands() { return kCommands; }

std::string wordsOf(const Json& value) {
    if (value.is_null()) return "-";
    if (value.is_string()) return printable(value.get<std::string>());
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (!value.is_array()) return value.dump();
    std::string cell;
    for (const Json& item : value) cell.append(cell.empty() ? "" : " ").append(wordsOf(item));
    return cell;
}

std::string printedForm(const Json& answer) {
    if (answer.contains("values")) return wordsOf(answer["values"]) + "\n";
    if (answer.is_object()) return linesOf(answer, "");
    if (answer.empty()) return "";
    const bool things = answer.is_array() && answer.front().is_object();
    return things ? tableOf(answer) : wordsOf(answer) + "\n";
}

}  // namespace velora::host
