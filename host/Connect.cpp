#include "host/Connect.h"

namespace velora::host {

const CLI::Validator& notEmpty() {
    static const auto* const kNotEmpty = new CLI::Validator(
        [](const std::string& text) { return std::string(text.empty() ? "it is empty" : ""); }, "");
    return *kNotEmpty;
}

void BusChoice::addTo(CLI::App& app) {
    auto* const which = app.add_option_group("bus");
    which->add_flag("--system", mSystem, "Use the system bus (default)");
    which->add_flag("--user", mUser, "Use the user's bus");
    which->add_option("--address", mAddress, "Use the bus at this D-Bus address")
        ->check(notEmpty())
        ->type_name("ADDRESS");
    which->require_option(0, 1);
}

Bus BusChoice::connect() const {
    if (mAddress.empty()) {
        const auto open = mUser ? sd_bus_open_user : sd_bus_open_system;
        return made<Bus>(open, "connect to the bus");
    }
    auto bus = made<Bus>(sd_bus_new, "connect to the bus");
    check(sd_bus_set_address(bus.get(), mAddress.c_str()), "connect to the bus");
    check(sd_bus_set_bus_client(bus.get(), 1), "connect to the bus");
    check(sd_bus_start(bus.get()), "connect to the bus");
    return bus;
}

}  // namespace velora::host
