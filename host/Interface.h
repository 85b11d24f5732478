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

}  // namespace velora::host
