#pragma once

#include <cstdint>
#include <map>
#include <vector>

// Names and types of the service's D-Bus interface, shared by the daemon and its clients.

namespace velora::host {

inline constexpr char kBusName[] = "vendor.velora_sp.hardware.kmssp.V2_0";
inline constexpr char kObjectPath[] = "/vendor/velora_sp/hardware/kmssp/V2_0";
inline constexpr char kInterface[] = "vendor.velora_sp.hardware.kmssp.V2_0.IKms";

/// Signal to one registered client. Its arguments are the type under which the client registered,
/// and the notification buffer.
inline constexpr char kUpdateSignal[] = "OnSfxParamUpdate";

/// The last signal to a client whose connection is dropped. Its argument is the reason in English.
inline constexpr char kDroppedSignal[] = "Dropped";

using Bytes = std::vector<uint8_t>;
using Integers = std::vector<int32_t>;
/// Raw effect parameters: output device bits -> parameter number -> values.
using StoredParams = std::map<uint32_t, std::map<uint32_t, Integers>>;

}  // namespace velora::host
