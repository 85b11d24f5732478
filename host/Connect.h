#pragma once

#include "host/SdBus.h"

#include <string>

#include <CLI/CLI.hpp>

namespace velora::host {

/// Refuses an empty argument, such as a script's variable without a value.
const CLI::Validator& notEmpty();

/// Which bus to use: both programs have the same options for it.
class BusChoice {
public:
    /// Adds --system (which is the default), --user and --address; this must outlive `app`.
    void addTo(CLI::App& app);

    /// A connection to it. Throws std::system_error if there is none.
    Bus connect() const;

private:
    bool mSystem = true;
    bool mUser = false;
    std::string mAddress;
};

}  // namespace velora::host
