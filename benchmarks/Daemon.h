#pragma once

#include "host/ctl/Client.h"
#include "tests/support/Process.h"
#include "tests/support/TestFiles.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

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
