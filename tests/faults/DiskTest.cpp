#include "tests/faults/Disk.h"
#include "tests/faults/Recording.h"
#include "tests/support/TestFiles.h"

#include <cstring>
#include <set>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::Pair;
using enum Unsynchronised;

class DiskTest : public testing::Test {
protected:
    DiskTest() {
        std::filesystem::create_directory(data);
        strcpy(disk.recording, recording.c_str());
    }
    ~DiskTest() override { useDisk(nullptr); }

    int openNew(const char* name) const {
        return open((data / name).c_str(), O_RDWR | O_CREAT, 0600);
    }
    /// What remains of the whole recording.
    Files lose(Unsynchronised bytes, bool keepsNames) {
        return afterPowerLoss({}, readRecording(recording), bytes, keepsNames, dice);
    }

    const TempDir dir;
    const std::filesystem::path data = dir.path() / "data";
    const std::string recording = dir.path() / "recording";
    Disk& disk = useFreshDisk(data);
    std::minstd_rand dice{1};
};

TEST_F(DiskTest, TheChosenCallFailsOnceOrAgainUntilTheFaultIsCleared) {
    const int fd = openNew("a");
    disk.failNext(DiskCall::ANY);
    disk.error = ENOSPC;
    EXPECT_EQ(pwrite(fd, "12", 2, 0), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(pwrite(fd, "12", 2, 0), 2);
    EXPECT_EQ(contentsOf(dir.write("elsewhere", "b")), "b");
    EXPECT_EQ(contentsOf(data / "a"), "12");

    disk.failNext(DiskCall::FSYNC, 2);
    for (const int result : {-1, 0, -1, 0}) {
        EXPECT_EQ(fdatasync(fd), 0);
        EXPECT_EQ(fsync(fd), result);
    }
    disk.clearFault();
    EXPECT_EQ(fsync(fd), 0);
    close(fd);
}

TEST_F(DiskTest, ALossOfPowerLeavesWhatWasSynchronisedAndAnyPartOfTheRest) {
    const int directory = open(data.c_str(), O_RDONLY);
    const int fd = openNew("a");
    const std::string before(1024, '-');
    const std::string after(1024, '+');
    EXPECT_EQ(write(fd, before.data(), before.size()), 1024);
    fsync(fd);
    EXPECT_THAT(lose(KEPT, false), ElementsAre());
    fsync(directory);
    EXPECT_EQ(pwrite(fd, after.data(), after.size(), 0), 1024);
    close(openNew("b"));

    EXPECT_THAT(lose(KEPT, true), ElementsAre(Pair("a", after), Pair("b", "")));
    EXPECT_THAT(lose(DROPPED, false), ElementsAre(Pair("a", before)));
    std::set<std::string> torn;
    for (int i = 0; i < 50; ++i) torn.insert(lose(TORN, false)["a"]);
    EXPECT_THAT(torn, testing::Contains(std::string(512, '-') + std::string(512, '+')));
    EXPECT_EQ(torn.size(), 4);

    unlink((data / "a").c_str());
    close(openNew("a"));
    EXPECT_THAT(lose(DROPPED, true), ElementsAre(Pair("a", ""), Pair("b", "")));
    EXPECT_THAT(lose(DROPPED, false), ElementsAre(Pair("a", before)));
    close(fd);
    close(directory);
}

}  // namespace
}  // namespace velora::test
