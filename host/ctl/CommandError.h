#pragma once

#include <stdexcept>
#include <string>

namespace velora::host {

/// Exit status of veloractl.
enum class Exit {
    SUCCESS = 0,
    FAILED = 1,      ///< the bus or the service failed, or the output couldn't be written
    USAGE = 2,       ///< an unknown command, name or number, or a value out of range
    NO_SERVICE = 3,  ///< the service isn't on the bus, or has left it
    NOT_READY = 4,   ///< the service has no tuning file
    REFUSED = 5,     ///< the service didn't apply the change, or applied another
};

/// Ends veloractl with a message and an exit status.
class CommandError : public std::runtime_error {
public:
    CommandError(Exit exit, const std::string& message)
        : std::runtime_error(message), mExit(exit) {}
    Exit exit() const { return mExit; }

private:
    Exit mExit;
};

}  // namespace velora::host
