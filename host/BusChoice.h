#pragma once

#include "host/SdBus.h"

#include <string>

#include <CLI/CLI.hpp>

namespace velora::host {

/// Validator that refuses an empty argument, such as a shell variable that was never set.
const CLI::Validator& notEmpty();

/// The command line options that choose the bus, which are the same for both programs. Owned by the
/// program's main.
class BusChoice {
public:
    /// Adds --system (the default), --user and --address, which exclude each other. `app` writes to
    /// this object when it parses, so this object must outlive it.
    void addTo(CLI::App& app);

    /// Connects to the chosen bus. Throws std::system_error if there is no such bus.
    [[nodiscard]] Bus connect() const;

private:
    bool mSystem = true;
    bool mUser = false;
    std::string mAddress;
};

}  // namespace velora::host
