#include <cerrno>

#include <gtest/gtest.h>

#include <log/log.h>

namespace {

TEST(LogTest, PreservesTheErrorNumberWhateverTheSinkDoes) {
    __android_log_set_logger([](const __android_log_message*) { errno = EIO; });
    errno = ENOENT;
    __android_log_print(ANDROID_LOG_ERROR, "Tag", "text");
    const int afterwards = errno;
    __android_log_set_logger(nullptr);
    EXPECT_EQ(afterwards, ENOENT);
}

}  // namespace
