#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velora::host {

/// How veloractl ends: its exit status.
enum class Exit {
    SUCCESS = 0,
    FAILED = 1,      ///< the bus or the service failed
    USAGE = 2,       ///< an unknown command, name or number, or a value out of range
    NO_SERVICE = 3,  ///< nobody offers the service on this bus
    NOT_READY = 4,   ///< the service has no tuning file
    REFUSED = 5,     ///< the service didn't take the change
};

/// Ends veloractl with a message.
class CommandError : public std::runtime_error {
public:
    CommandError(Exit exit, const std::string& message)
        : std::runtime_error(message), mExit(exit) {}
    Exit exit() const { return mExit; }

private:
    Exit mExit;
};

/// Numbers, ascending, and names of one kind of thing; kNoNumber where it has names only.
using Names = std::vector<std::pair<int32_t, std::string>>;
inline constexpr int32_t kNoNumber = -1;

/// The number that `text` is, or is the name of. Throws CommandError, with the numbers there are or
/// the nearest names, if it is neither; `kind` says there what was looked for.
int32_t pick(const Names& names, const std::string& text, const std::string& kind);

/// The whole of `text` as a number; throws CommandError.
int32_t integerOf(const std::string& text);

}  // namespace velora::host
