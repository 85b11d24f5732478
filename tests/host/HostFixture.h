#pragma once

#include "tests/support/Bus.h"
#include "tests/support/Process.h"
#include "tests/support/RootFixture.h"

#include <csignal>
#include <memory>
#include <string>

namespace velora::test {

/// The exit status and the output of a finished program.
struct Outcome {
    int exit;
    std::string out;
    std::string err;
};

/// A root directory with the sample tuning file, and a daemon on the session bus, of which each
/// test program has one of its own.
class HostFixture : public RootFixture {
protected:
    HostFixture() {
        install(sample);
        installOem(extra);
        start();
    }
    ~HostFixture() override { end(); }

    /// Ends the daemon, unless it has ended.
    void end() { EXPECT_EQ(daemon->end(SIGTERM), 0) << contentsOf(file("log")); }
    /// Starts the daemon, again, and waits until clients can call it. `launcher` is a command that
    /// starts it, `streams` redirects its standard streams, instead of its log to a file.
    void start(const std::string& options = "", const std::string& launcher = "",
               const std::string& streams = "") {
        if (daemon) end();
        daemon = std::make_unique<Process>(
            launcher + " " VELORA_BIN "/velorad --user --log-level debug " + options + " --root " +
            file("") + " " + (streams.empty() ? "2>>" + file("log") : streams));
        ASSERT_TRUE(waitFor(isServing)) << contentsOf(file("log"));
    }
    /// Starts `veloractl watch` with its output in a file, and waits for its first line.
    std::unique_ptr<Process> watch(const std::string& name, const std::string& options = "") {
        auto watcher = std::make_unique<Process>(VELORA_BIN "/veloractl --user watch " + options +
                                                 " >" + file(name) + " 2>&1");
        EXPECT_TRUE(awaitIn(name, "clients changed"));
        return watcher;
    }

    /// Runs a line of shell, which may use what session.sh defines.
    Outcome run(const std::string& line) {
        dir.write("line", "BIN=" VELORA_BIN " SOURCE=" VELORA_SOURCE_DIR " ROOT=" + file("") +
                              "\n. $SOURCE/tests/data/session.sh\n" + line);
        Process shell("sh " + file("line") + " >" + file("out") + " 2>" + file("err"));
        const int exit = shell.wait();
        return {exit, contentsOf(file("out")), contentsOf(file("err"))};
    }
    /// Runs the commands of a transcript. After each command line, which starts with "$ ", it has
    /// the output, the errors, and the exit status unless that is 0.
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

    std::string file(const std::string& name) const { return dir.path() / name; }
    /// Counts the occurrences of a text in a file.
    size_t count(const std::string& name, const std::string& text) const {
        const std::string all = contentsOf(file(name));
        size_t found = 0;
        for (size_t at = 0; (at = all.find(text, at)) != std::string::npos; ++at) ++found;
        return found;
    }
    bool awaitIn(const std::string& name, const std::string& text, size_t times = 1) const {
        return waitFor([&] { return count(name, text) >= times; });
    }

    std::unique_ptr<Process> daemon;
};

}  // namespace velora::test
