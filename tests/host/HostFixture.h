#pragma once

#include "host/Client.h"
#include "store/DatabaseHelper.h"
#include "tests/support/Process.h"
#include "tests/support/TestFiles.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velora/RootPrefix.h>

namespace velora::test {

using host::Client;

inline const std::string kVelorad = VELORA_BIN "/velorad";
inline const std::string kVeloractl = VELORA_BIN "/veloractl";

/// What a program that ran to its end left.
struct Outcome {
    int exit;
    std::string out;
    std::string err;
};

/// A directory with the sample tuning file as the root of the system, on a bus of the test's own.
class HostFixture : public testing::Test {
protected:
    void TearDown() override {
        if (daemon) {
            EXPECT_EQ(daemon->end(SIGTERM), 0) << contentsOf(logFile);
        }
    }

    void addTuning() {
        root.write("odm/etc/velora/multimedia_velora_kiv_default.xml",
                   contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml")));
    }

    /// Starts a daemon, by way of `launcher`, and waits until it is on the bus.
    void start(const std::vector<std::string>& options = {},
               const std::vector<std::string>& launcher = {}) {
        std::vector<std::string> command = launcher;
        command.insert(command.end(),
                       {kVelorad, "--user", "--log-level", "debug", "--root", root.path()});
        command.insert(command.end(), options.begin(), options.end());
        const size_t before = logged(" serves ");
        daemon = std::make_unique<Process>(command, logFile);
        ASSERT_TRUE(waitFor([&] { return logged(" serves ") > before; })) << contentsOf(logFile);
    }

    /// A connection of its own.
    static std::unique_ptr<Client> client() {
        return std::make_unique<Client>(host::made<host::Bus>(sd_bus_open_user, "connect"));
    }

    /// Runs a shell command line, with veloractl and the bus tools to hand.
    Outcome run(const std::string& line) {
        const std::string errors = root.path() / "stderr";
        const std::string path = "PATH=" VELORA_BIN ":$PATH; ";
        FILE* const pipe = popen((path + "exec 2>" + errors + "; " + line).c_str(), "r");
        Outcome outcome{};
        for (int c = 0; (c = fgetc(pipe)) != EOF;) outcome.out.push_back(static_cast<char>(c));
        const int status = pclose(pipe);
        outcome.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        outcome.err = contentsOf(errors);
        return outcome;
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

    static size_t countIn(const std::string& file, const std::string& text) {
        const std::string all = contentsOf(file);
        size_t count = 0;
        for (size_t at = 0; (at = all.find(text, at)) != std::string::npos; ++at) ++count;
        return count;
    }
    size_t logged(const std::string& text) const { return countIn(logFile, text); }

    /// Keeps everybody else from the store while it stands.
    std::unique_ptr<DatabaseHelper> holdStore() {
        setRootPrefix(root.path().string());
        auto store = std::make_unique<DatabaseHelper>("kiv_sqlite3.db");
        store->beginTransaction();
        return store;
    }

    /// A change that only the saving of settled changes brings to the store.
    void setAmount(Client& from, int32_t amount) {
        const auto request =
            Client::bytesOf({host::wordOf(host::Command::kProfileParameter), 0, 0, 106, amount});
        EXPECT_EQ(from.call<int32_t>("SetSfxParam", request), 0);
        EXPECT_TRUE(waitFor([&] { return amountOf(from) == amount; }));
    }
    static int32_t amountOf(Client& from) {
        return from.get(host::Command::kProfileParameter, 106, 0)[0];
    }

    TempDir root;
    const std::string logFile = root.path() / "log";
    std::unique_ptr<Process> daemon;
};

}  // namespace velora::test
