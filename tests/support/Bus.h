#pragma once

#include "host/ctl/Client.h"

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace velora::test {

using host::Client;
using host::CommandError;

/// Makes a new connection to the user's bus.
inline std::unique_ptr<Client> connect() {
    return std::make_unique<Client>(host::create<host::Bus>(sd_bus_open_user, "connect"));
}

/// The bytes of a set-request with an empty result word.
inline host::Bytes request(Command command, host::Integers arguments) {
    arguments.insert(arguments.begin(), {wordOf(command), 0});
    return Client::toBytes(arguments);
}

/// Waits at most half a minute until something holds. False if it doesn't hold then.
inline bool waitFor(const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/// True if velorad is on the bus, and has started.
inline bool isServing() {
    try {
        connect()->call<bool>("GetSfxEnabled");
        return true;
    } catch (const CommandError&) {
        return false;
    }
}

}  // namespace velora::test
