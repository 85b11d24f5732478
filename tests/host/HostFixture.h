#pragma once

#include "host/ctl/Client.h"
#include "store/DatabaseHelper.h"
#include "tests/support/Process.h"
#include "tests/support/TestFiles.h"
#include "util/RootPrefix.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora::test {

using host::Client;

/// Name on the bus and path of the service.
inline const std::string kObject =
    "vendor.velora_sp.hardware.kmssp.V2_0 /vendor/velora_sp/hardware/kmssp/V2_0 ";

/// What a program that ran to its end left.
struct Outcome {
    int exit;
    std::string out;
    std::string err;
};

/// A directory with the sample tuning file as the root of the system, on a bus of the test's own.
class HostFixture : public testing::Test {
protected:
    HostFixture() { addTuning(); }
    void TearDown() override {
        if (daemon) {
            EXPECT_EQ(daemon->end(SIGTERM), 0) << contentsOf(file("log"));
        }
    }

    void addTuning() {
        root.write("odm/etc/velora/multimedia_velora_kiv_default.xml",
                   contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml")));
    }
    void removeTuning() { std::filesystem::remove_all(root.path() / "odm"); }

    /// Starts a daemon, by way of `launcher`, and waits until it is on the bus.
    void start(const std::string& options = "", const std::string& launcher = "") {
        const size_t before = count("log", " serves ");
        daemon = std::make_unique<Process>(launcher +
                                           " " VELORA_BIN "/velorad --user --log-level debug " +
                                           options + " --root " + file("") + " 2>>" + file("log"));
        ASSERT_TRUE(awaitIn("log", " serves ", before + 1)) << contentsOf(file("log"));
    }
    /// Starts a `veloractl watch` into a file and waits until it is told of clients.
    std::unique_ptr<Process> watch(const std::string& name, const std::string& options = "") {
        auto watcher = std::make_unique<Process>(VELORA_BIN "/veloractl --user watch " + options +
                                                 " >" + file(name) + " 2>&1");
        EXPECT_TRUE(awaitIn(name, "clients changed"));
        return watcher;
    }

    /// A connection of its own.
    static std::unique_ptr<Client> client() {
        return std::make_unique<Client>(host::create<host::Bus>(sd_bus_open_user, "connect"));
    }

    /// Runs a line of shell, in which `call` calls an operation of the service.
    Outcome run(const std::string& line) {
        root.write("line", "PATH=" VELORA_BIN ":$PATH; call() { busctl --user call " + kObject +
                               "vendor.velora_sp.hardware.kmssp.V2_0.IKms \"$@\"; }; " + line);
        Process shell("sh " + file("line") + " >" + file("out") + " 2>" + file("err"));
        const int exit = shell.wait();
        return {exit, contentsOf(file("out")), contentsOf(file("err"))};
    }
    /// Runs the lines of a session after their prompts. It holds what each says, on either stream,
    /// and its exit status unless that is 0.
    void expectTranscript(const std::string& name) {
        const std::string expected = contentsOf(sourceFile("tests/data/" + name));
        std::istringstream lines(expected);
        std::string session;
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with("$ ")) continue;
            const Outcome outcome = run(line.substr(2));
            session += line + "\n" + outcome.out + outcome.err;
            if (outcome.exit != 0) session += "exit " + std::to_string(outcome.exit) + "\n";
        }
        EXPECT_EQ(session, expected);
    }
    Outcome ctl(const std::string& arguments) { return run("veloractl --user " + arguments); }

    static bool waitFor(const std::function<bool()>& holds) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!holds()) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }

    std::string file(const std::string& name) const { return root.path() / name; }
    /// How often a file holds a text.
    size_t count(const std::string& name, const std::string& text) const {
        const std::string all = contentsOf(file(name));
        size_t found = 0;
        for (size_t at = 0; (at = all.find(text, at)) != std::string::npos; ++at) ++found;
        return found;
    }
    bool awaitIn(const std::string& name, const std::string& text, size_t times = 1) const {
        return waitFor([&] { return count(name, text) >= times; });
    }

    /// Keeps everybody else from the store while it stands.
    std::unique_ptr<DatabaseHelper> holdStore() {
        setRootPrefix(root.path().string());
        auto store = std::make_unique<DatabaseHelper>("kiv_sqlite3.db");
        store->beginTransaction();
        return store;
    }

    TempDir root;
    std::unique_ptr<Process> daemon;
};

}  // namespace velora::test
