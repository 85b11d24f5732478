#pragma once

#include "util/ConstMap.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include <system/audio.h>

namespace velora {

/// The classes of output that tunings and profile endpoints are kept for.
enum class Endpoint : int32_t {
    SPEAKER = 0,    ///< the built-in loudspeaker
    HEADPHONE = 1,  ///< a personal output: wired headphone, Bluetooth or USB audio
    OTHER = 2,      ///< every other output: HDMI, wireless display, anything else
};

/// The endpoints in ascending order, and the short names that records and the database use.
inline constexpr std::array kEndpoints{Endpoint::SPEAKER, Endpoint::HEADPHONE, Endpoint::OTHER};
inline constexpr std::array<std::string_view, 3> kEndpointNames{"speaker", "headphone", "other"};

constexpr std::string_view endpointName(Endpoint endpoint) {
    return kEndpointNames[static_cast<size_t>(endpoint)];
}

/// The endpoint with a short name; nullopt for any other text.
constexpr std::optional<Endpoint> endpointByName(std::string_view shortName) {
    for (const Endpoint endpoint : kEndpoints) {
        if (endpointName(endpoint) == shortName) return endpoint;
    }
    return std::nullopt;
}

/// The outputs of the device: those for which a tuning device is selected, and `PORT_OTHER` for any
/// other, which clients may name but which has no output device here.
enum Port : int32_t {
    PORT_INTERNAL_SPEAKER,
    PORT_HDMI,
    PORT_MIRACAST,
    PORT_HEADPHONE,
    PORT_BLUETOOTH,
    PORT_USB,
    PORT_OTHER,
};

/// One output device bit of the platform (system/audio.h), or AUDIO_DEVICE_OUT_DEFAULT for all
/// output devices.
using AndroidDevice = audio_devices_t;
inline constexpr AndroidDevice kNoDevice = 0;

/// One row of the table of ports.
struct PortInfo {
    Port port;
    std::string_view name;  ///< followed by a NUL
    Endpoint endpoint;
    AndroidDevice device;  ///< kNoDevice for the port "other"
};

/// One row per port, at the index of its number.
inline constexpr auto kPorts = std::to_array<PortInfo>({
    {PORT_INTERNAL_SPEAKER, "internal_speaker", Endpoint::SPEAKER, AUDIO_DEVICE_OUT_SPEAKER},
    {PORT_HDMI, "hdmi", Endpoint::OTHER, AUDIO_DEVICE_OUT_AUX_DIGITAL},
    {PORT_MIRACAST, "miracast", Endpoint::OTHER, AUDIO_DEVICE_OUT_REMOTE_SUBMIX},
    {PORT_HEADPHONE, "headphone", Endpoint::HEADPHONE, AUDIO_DEVICE_OUT_WIRED_HEADPHONE},
    {PORT_BLUETOOTH, "bluetooth", Endpoint::HEADPHONE, AUDIO_DEVICE_OUT_BLUETOOTH_A2DP},
    {PORT_USB, "usb", Endpoint::HEADPHONE, AUDIO_DEVICE_OUT_USB_DEVICE},
    {PORT_OTHER, "other", Endpoint::OTHER, kNoDevice},
});

/// A port prefers tuning devices whose names begin with this. The one whose name continues with the
/// port's name is selected until a client selects another.
inline constexpr std::string_view kDefaultDevicePrefix = "default_";

/// Whether `port` is one of the seven ports, for which clients may ask.
constexpr bool isPort(int port) { return port >= 0 && static_cast<size_t>(port) < kPorts.size(); }

/// The row of a port, which must be one of the seven.
constexpr const PortInfo& portInfo(Port port) { return kPorts[static_cast<size_t>(port)]; }

/// The port of this name; nullopt for any other text.
constexpr std::optional<Port> portByName(std::string_view name) {
    for (const PortInfo& info : kPorts) {
        if (info.name == name) return info.port;
    }
    return std::nullopt;
}

/// The ports for which a tuning device can be selected, ascending: those with an output device.
inline constexpr std::array kSupportedPorts{PORT_INTERNAL_SPEAKER, PORT_HDMI,      PORT_MIRACAST,
                                            PORT_HEADPHONE,        PORT_BLUETOOTH, PORT_USB};

namespace detail {

template <typename Key, typename Value, size_t N, typename MakePair>
constexpr ConstMap<Key, Value, N> mapOfPorts(MakePair makePair) {
    std::array<std::pair<Key, Value>, N> pairs{};
    for (size_t i = 0; i < N; ++i) pairs[i] = makePair(kPorts[i]);
    return ConstMap<Key, Value, N>(pairs);
}

}  // namespace detail

/// Name of a port -> its endpoint.
inline constexpr auto kEndpNameToEndpoint =
    detail::mapOfPorts<std::string_view, Endpoint, kPorts.size()>([](const PortInfo& info) {
        return std::pair{info.name, info.endpoint};
    });

/// Supported port -> its output device, and the inverse.
inline constexpr auto kDeviceForPort =
    detail::mapOfPorts<Port, AndroidDevice, kSupportedPorts.size()>([](const PortInfo& info) {
        return std::pair{info.port, info.device};
    });
inline constexpr auto kPortForDevice =
    detail::mapOfPorts<AndroidDevice, Port, kSupportedPorts.size()>([](const PortInfo& info) {
        return std::pair{info.device, info.port};
    });

static_assert(kEndpNameToEndpoint.isUnique() && kPortForDevice.isUnique());
static_assert([] {
    for (size_t i = 0; i < kPorts.size(); ++i) {
        const bool supported = i < kSupportedPorts.size() && kSupportedPorts[i] == kPorts[i].port;
        if (kPorts[i].port != static_cast<Port>(i)) return false;
        if (supported != (kPorts[i].device != kNoDevice)) return false;
    }
    return true;
}());

}  // namespace velora
