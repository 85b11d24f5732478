#pragma once

#include <string>

namespace velora {

/// MD5 of the bytes of the file at `path`, as 32 lower-case hexadecimal digits. Empty, with an
/// error logged, if it isn't a plain file or can't be read. Any thread may call.
///
/// The file is read, not mapped: if somebody shortened a mapped file meanwhile, the process would
/// end with a bus error.
[[nodiscard]] std::string fileSignature(const std::string& path);

}  // namespace velora
