#pragma once

#include <cstdint>
#include <map>
#include <vector>

// The service on D-Bus: what daemon and clients must agree on.

namespace velora::host {

inline constexpr char kBusName[] = "vendor.velora_sp.hardware.kmssp.V2_0";
inline constexpr char kObjectPath[] = "/vendor/velora_sp/hardware/kmssp/V2_0";
inline constexpr char kInterface[] = "vendor.velora_sp.hardware.kmssp.V2_0.IKms";

/// The signal, addressed to a registered client, that carries the type it registered as and one
/// notification buffer.
inline constexpr char kUpdate[] = "OnSfxParamUpdate";

using Bytes = std::vector<uint8_t>;
using Integers = std::vector<int32_t>;
/// Device bits -> parameter number -> values.
using StoredParams = std::map<uint32_t, std::map<uint32_t, Integers>>;

/// The signal, addressed to a registered client, that is its last: it carries the reason why the
/// connection was taken out.
inline constexpr char kDropped[] = "Dropped";

/// Commands of the request buffers that the client uses. A buffer is 32-bit words in native order;
/// the number of the command stands in the last byte of the first.
enum class Command : uint32_t {
    kOn = 0,
    kProfileParameter = 1,
    kProfilePortParameter = 2,
    kProfileCount = 3,    ///< only to be read
    kIeqPresetCount = 4,  ///< only to be read
    kSelectedProfile = 10,
    kProfileModified = 11,  ///< only to be read
    kResetProfile = 12,     ///< only to be done
};

constexpr int32_t wordOf(Command command) {
    return static_cast<int32_t>(static_cast<uint32_t>(command) << 24);
}

}  // namespace velora::host
