#pragma once

#include "host/ctl/Client.h"
#include "tests/support/Process.h"
#include "tests/support/TestFiles.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace velora::bench {

inline std::unique_ptr<host::Client> connect() {
    return std::make_unique<host::Client>(host::create<host::Bus>(sd_bus_open_user, "connect"));
}

/// velorad without its log, on a directory of its own with both sample files. Ready when the
/// constructor returns, and killed by the destructor.
class Daemon {
public:
    /// `variables` of its environment and `options` are written as for a shell.
    explicit Daemon(const std::string& variables = "", const std::string& options = "")
        : process("env " + variables + " " VELORA_BIN "/velorad --user --root " +
                  prepared(root).string() + " " + options + " 2>&-") {
        while (!isThere()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    const test::TempDir root;
    const test::Process process;
    const std::unique_ptr<host::Client> client = connect();

    /// How long a client waits for each answer, in milliseconds, ascending.
    std::vector<double> waits(std::chrono::seconds duration) const {
        using Clock = std::chrono::steady_clock;
        using Milliseconds = std::chrono::duration<double, std::milli>;
        std::vector<double> waits;
        for (const auto end = Clock::now() + duration; Clock::now() < end;) {
            const auto start = Clock::now();
            client->get(Command::PROFILE_PARAMETER, 106, 0);
            waits.push_back(Milliseconds(Clock::now() - start).count());
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        std::sort(waits.begin(), waits.end());
        return waits;
    }

private:
    static std::filesystem::path prepared(const test::TempDir& root) {
        root.write("odm/etc/velora/multimedia_velora_kiv_default.xml",
                   test::contentsOf(test::sourceFile("data/multimedia_velora_kiv_default.xml")));
        root.write("data/vendor/velora/kiv-extra.xml",
                   test::contentsOf(test::sourceFile("data/kiv-extra.xml")));
        return root.path();
    }
    bool isThere() const {
        try {
            return client->isReady();
        } catch (const host::CommandError&) {
            return false;
        }
    }
};

}  // namespace velora::bench
