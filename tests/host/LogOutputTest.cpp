#include "host/daemon/LogOutput.h"

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <log/log.h>

extern "C" int __real_poll(pollfd* files, nfds_t count, int timeout);

/// This program is linked with --wrap=poll. Returns when another thread may have called it, too.
extern "C" int __wrap_poll(pollfd* files, nfds_t count, int timeout) {
    const int result = __real_poll(files, count, timeout);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return result;
}

namespace velora::host {
namespace {

// Two threads log at the same time, each a line that is longer than the pipe.
TEST(LogOutputTest, NoThreadWaitsForTheReaderOfAFullPipe) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    fcntl(ends[1], F_SETPIPE_SZ, 4096);
    const int before = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    const LogOutput output("info");

    const auto log = [text = std::string(8000, 'x')] {
        __android_log_print(ANDROID_LOG_INFO, "Tag", "%s", text.c_str());
    };
    std::future<void> writers[] = {std::async(log), std::async(log)};
    for (auto& writer : writers) {
        EXPECT_EQ(writer.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    }

    char written[8192]{};
    EXPECT_GT(read(ends[0], written, sizeof written), 0);
    EXPECT_THAT(written, testing::MatchesRegex("I Tag: x+\n")) << "one line, cut off";
    dup2(before, STDERR_FILENO);
    for (const int end : {before, ends[0], ends[1]}) close(end);
}

}  // namespace
}  // namespace velora::host
