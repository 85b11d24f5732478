#pragma once

#include <csignal>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velora::test {

/// A program that runs beside the test, its output in a file; killed at the end of the scope.
class Process {
public:
    /// Throws std::system_error if it can't be started.
    Process(const std::vector<std::string>& command, const std::string& output) {
        std::vector<char*> arguments;
        for (const auto& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&files, fd, output.c_str(),
                                             O_WRONLY | O_CREAT | O_APPEND, 0600);
        }
        const int error =
            posix_spawnp(&mPid, arguments[0], &files, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&files);
        if (error != 0) throw std::system_error(error, std::generic_category(), command[0]);
    }
    ~Process() { end(SIGKILL); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return mPid; }
    void signal(int number) const {
        if (mPid > 0) kill(mPid, number);
    }
    /// Sends a signal and waits for the end. The exit status, or minus the signal that ended it.
    int end(int number) {
        signal(number);
        return wait();
    }
    int wait() {
        int status = 0;
        if (mPid > 0) waitpid(std::exchange(mPid, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t mPid = 0;
};

}  // namespace velora::test
