#include "tests/faults/Disk.h"
#include "tests/faults/Recording.h"
#include "tests/support/Process.h"
#include "tests/support/TestFiles.h"

#include <chrono>
#include <cstring>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::Pair;
using enum Unsynchronised;

class DiskTest : public testing::Test {
protected:
    DiskTest() {
        std::filesystem::create_directory(data);
        strcpy(disk.directory, data.c_str());
        strcpy(disk.recording, recording.c_str());
        useDisk(&disk);
    }
    ~DiskTest() override { useDisk(nullptr); }

    int openNew(const char* name) const {
        return open((data / name).c_str(), O_RDWR | O_CREAT, 0600);
    }
    /// What remains of the whole recording.
    Files lose(Unsynchronised bytes, Unsynchronised names) {
        const auto records = readRecording(recording);
        DiskState state({});
        for (const Record& record : records) state.take(record);
        return state.lose(bytes, names, dice);
    }

    const TempDir dir;
    const std::filesystem::path data = dir.path() / "data";
    const std::string recording = dir.path() / "recording";
    const std::string file = dir.path() / "disk";
    Disk& disk = *openDisk(file.c_str());
    std::minstd_rand dice{1};
};

TEST_F(DiskTest, TheChosenCallFailsOnceOrUntilItIsCleared) {
    const int fd = openNew("a");  // call 1
    disk.fail(3, ENOSPC, false);
    EXPECT_EQ(write(fd, "12", 2), 2);
    EXPECT_EQ(pwrite(fd, "3", 1, 2), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(pwrite(fd, "3", 1, 2), 1);
    EXPECT_EQ(contentsOf(data / "a"), "123");

    disk.fail(2, EIO, true, static_cast<int>(DiskCall::FSYNC));
    EXPECT_EQ(fsync(fd), 0);
    EXPECT_EQ(fsync(fd), -1);
    EXPECT_EQ(fdatasync(fd), 0);
    EXPECT_EQ(fsync(fd), -1);
    {
        const DiskPause pause;
        EXPECT_EQ(fsync(fd), 0);
    }
    EXPECT_EQ(contentsOf(dir.write("elsewhere", "b")), "b");
    disk.clearFault();
    EXPECT_EQ(fsync(fd), 0);
    close(fd);
}

TEST_F(DiskTest, SynchronisingTakesAsLongAsItShould) {
    const int fd = openNew("a");
    disk.syncMs = 30;
    const auto begin = std::chrono::steady_clock::now();
    fdatasync(fd);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
    close(fd);
}

TEST_F(DiskTest, ALossOfPowerLeavesWhatWasSynchronisedAndAnyPartOfTheRest) {
    const int directory = open(data.c_str(), O_RDONLY);
    const int a = openat(directory, "a", O_RDWR | O_CREAT, 0600);
    const std::string before(1024, '-');
    const std::string after(1024, '+');
    EXPECT_EQ(write(a, before.data(), before.size()), 1024);
    fsync(a);
    EXPECT_THAT(lose(KEPT, DROPPED), ElementsAre());
    fsync(directory);
    EXPECT_EQ(pwrite(a, after.data(), after.size(), 0), 1024);
    close(openNew("b"));
    rename((data / "b").c_str(), (data / "c").c_str());

    EXPECT_THAT(lose(KEPT, KEPT), ElementsAre(Pair("a", after), Pair("c", "")));
    EXPECT_THAT(lose(DROPPED, DROPPED), ElementsAre(Pair("a", before)));
    std::set<std::string> torn;
    for (int i = 0; i < 50; ++i) torn.insert(lose(TORN, DROPPED)["a"]);
    EXPECT_THAT(torn, testing::Contains(std::string(512, '-') + std::string(512, '+')));
    EXPECT_EQ(torn.size(), 4);

    unlinkat(directory, "a", 0);
    EXPECT_THAT(lose(KEPT, KEPT), ElementsAre(Pair("c", "")));
    close(a);
    close(directory);
}

TEST_F(DiskTest, APreloadedLibraryUsesTheDiskOfItsEnvironment) {
    dir.write("data/a", "text");
    const std::string copy = dir.path() / "copy";
    const std::string command = "env LD_PRELOAD=" VELORA_FAULTS_LIBRARY " VELORA_DISK=" + file +
                                " dd status=none if=" + (data / "a").string() + " of=" + copy;
    EXPECT_EQ(Process(command).wait(), 0);
    EXPECT_EQ(contentsOf(copy), "text");
    disk.fail(1, EIO, false, static_cast<int>(DiskCall::READ));
    disk.calls[static_cast<size_t>(DiskCall::READ)] = 0;
    EXPECT_EQ(Process(command + " 2> " + copy).wait(), 1);
    EXPECT_THAT(contentsOf(copy), testing::HasSubstr("Input/output error"));
}

}  // namespace
}  // namespace velora::test
