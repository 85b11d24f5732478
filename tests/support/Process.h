#pragma once

#include <csignal>
#include <string>
#include <system_error>
#include <utility>

#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velora::test {

/// A program that runs in parallel to the test, started by a shell command and killed at the end of
/// its scope.
class Process {
public:
    /// Throws std::system_error if it can't be started.
    explicit Process(const std::string& line) {
        std::string program = "exec " + line;
        std::string shell = "sh", option = "-c";
        char* const arguments[] = {shell.data(), option.data(), program.data(), nullptr};
        const int error = posix_spawn(&mPid, "/bin/sh", nullptr, nullptr, arguments, environ);
        if (error != 0) throw std::system_error(error, std::generic_category(), line);
    }
    ~Process() { end(SIGKILL); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return mPid; }
    void signal(int number) const {
        if (mPid > 0) kill(mPid, number);
    }
    /// Sends a signal and waits for the program to end. Returns the exit status, or the negative
    /// number of the signal that ended it.
    int end(int number) {
        signal(number);
        return wait();
    }
    /// Waits for the end; kills the program if it doesn't end within half a minute. Returns the
    /// exit status, or minus the signal that ended it; 0 if the end was waited for before.
    int wait() {
        constexpr int kLimitMs = 30'000;
        if (mPid == 0) return 0;
        pollfd ended{static_cast<int>(syscall(SYS_pidfd_open, mPid, 0)), POLLIN, 0};
        if (poll(&ended, 1, kLimitMs) != 1) signal(SIGKILL);
        close(ended.fd);
        int status = 0;
        waitpid(std::exchange(mPid, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t mPid = 0;
};

}  // namespace velora::test
