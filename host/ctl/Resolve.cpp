#include "host/ctl/Resolve.h"

#include "model/Port.h"

#include <sstream>

namespace velora::host {

namespace {

Names portNames() {
    Names names;
    for (const PortInfo& info : kPorts) names.emplace_back(info.port, info.name);
    return names;
}

Names parameterNames() {
    Names names;
    for (const AdapterParameter& row : kAdapterParameters) {
        names.emplace_back(row.id, parameterName(row));
    }
    return names;
}

}  // namespace

Names profileNames(Client& client) {
    Names names;
    const int32_t count = client.get(Command::PROFILE_COUNT)[0];
    for (int32_t i = 0; i < count; ++i) {
        names.emplace_back(i, client.call<std::string>("GetProfileName", i));
    }
    return names;
}

Names presetNames(Client& client) {
    Names names;
    const int32_t count = client.get(Command::IEQ_PRESET_COUNT)[0];

    // The count leaves preset 0 out.
    for (int32_t i = 0; i <= count; ++i) {
        const auto name = client.call<std::string>("GetIeqPresetName", i);
        if (!name.empty()) names.emplace_back(i, name);
    }
    return names;
}

std::vector<std::string> deviceNames(Client& client, int32_t port) {
    const auto length = client.call<int32_t>("GetAvailableTuningDevicesLen", port);
    const Bytes bytes = client.call<Bytes>("GetAvailableTuningDevices", port, length);
    std::istringstream list(std::string(bytes.begin(), bytes.end()));
    std::vector<std::string> devices;
    for (std::string device; list >> device;) devices.push_back(device);
    return devices;
}

std::string parameterName(const AdapterParameter& parameter) {
    std::string name(parameterInfo(parameter.parameter).column);
    if (parameter.scope == Scope::HEADPHONE) return "headphone_" + name;
    if (parameter.scope == Scope::SPEAKER) return "speaker_" + name;
    return name;
}

std::string portName(int32_t port) { return nameOrNumber(portNames(), port); }

Profile resolveProfile(Client& client, const std::string& text) {
    const Names profiles = profileNames(client);
    const int32_t number = text.empty() ? client.get(Command::SELECTED_PROFILE)[0]
                                        : resolve(profiles, text, "profile");
    return {number, nameOrNumber(profiles, number)};
}

int32_t resolvePort(const std::string& text) { return resolve(portNames(), text, "port"); }

std::optional<int32_t> resolvePortIfGiven(const std::string& text) {
    if (text.empty()) return std::nullopt;
    return resolvePort(text);
}

std::vector<int32_t> resolvePorts(const std::string& text) {
    if (!text.empty()) return {resolvePort(text)};
    return {kSupportedPorts.begin(), kSupportedPorts.end()};
}

const AdapterParameter& resolveParameter(const std::string& text) {
    const int32_t number = resolve(parameterNames(), text, "parameter");
    return kAdapterParameters[static_cast<size_t>(number - kFirstAdapterParameter)];
}

int32_t resolveSwitch(const std::string& text, const std::string& kind) {
    return resolve({{0, "off"}, {1, "on"}}, text, kind);
}

}  // namespace velora::host
