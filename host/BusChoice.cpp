#include "host/BusChoice.h"

namespace velora::host {

const CLI::Validator& notEmpty() {
    // Never destroyed, because options refer to it until the program ends.
    static const auto* const kNotEmpty = new CLI::Validator(
        [](const std::string& text) {
            return std::string(text.empty() ? "must not be empty" : "");
        },
        "");

    return *kNotEmpty;
}

void BusChoice::addTo(CLI::App& app) {
    auto* const options = app.add_option_group("bus");
    options->add_flag("--system", mSystem, "Use the system bus (default)");
    options->add_flag("--user", mUser, "Use the user's bus");
    options->add_option("--address", mAddress, "Use the bus at this D-Bus address")
        ->check(notEmpty())
        ->type_name("ADDRESS");

    options->require_option(0, 1);
}

Bus BusChoice::connect() const {
    if (mAddress.empty()) {
        return mUser ? create<Bus>(sd_bus_open_user, "connect to the user's bus")
                     : create<Bus>(sd_bus_open_system, "connect to the system bus");
    }

    // sd-bus has no single call that opens a message bus at an address.
    auto bus = create<Bus>(sd_bus_new, "connect to the bus");
    check(sd_bus_set_address(bus.get(), mAddress.c_str()), "connect to the bus");
    check(sd_bus_set_bus_client(bus.get(), 1), "connect to the bus");
    check(sd_bus_start(bus.get()), "connect to the bus");
    return bus;
}

}  // namespace velora::host
