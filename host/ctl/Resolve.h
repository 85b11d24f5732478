#pragma once

#include "host/ctl/Client.h"
#include "host/ctl/Names.h"
#include "service/AdapterParameter.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

// Which profiles, ports, parameters, devices and presets there are, and which of them the words of
// a command line mean. Functions with a client ask the service. A word that means nothing throws
// CommandError.

namespace velora::host {

using Profile = std::pair<int32_t, std::string>;  ///< number and name

Names profileNames(Client& client);
/// The presets of the intelligent equalizer; number 0 is "off".
Names presetNames(Client& client);
/// The tuning devices of a port.
std::vector<std::string> deviceNames(Client& client, int32_t port);

/// The parameter's name in the catalogue, with "headphone_" or "speaker_" before it if it applies
/// to that endpoint only.
std::string parameterName(const AdapterParameter& parameter);
/// The name of a port, or its number as text if it is out of range.
std::string portName(int32_t port);

/// An empty text means the selected profile.
Profile resolveProfile(Client& client, const std::string& text);
int32_t resolvePort(const std::string& text);
/// An empty text means no port.
std::optional<int32_t> resolvePortIfGiven(const std::string& text);
/// An empty text means all ports that have tunings.
std::vector<int32_t> resolvePorts(const std::string& text);
const AdapterParameter& resolveParameter(const std::string& text);
/// 0 or 1, for "off" or "on"; an error message calls them a `kind`.
int32_t resolveSwitch(const std::string& text, const std::string& kind);

}  // namespace velora::host
