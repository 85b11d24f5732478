#pragma once

namespace velora {

// Log texts that are part of the interface and that several files of this folder log: they must not
// change, nor may their spelling be corrected.
inline constexpr char kNotConnectedMessage[] = "the database is not connected";

}  // namespace velora
