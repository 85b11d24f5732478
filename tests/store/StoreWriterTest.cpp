#include "store/StoreWriter.h"
#include "tests/faults/Disk.h"
#include "tests/store/FilledStore.h"

namespace velora::test {
namespace {

class StoreWriterTest : public RootFixture {
protected:
    StoreWriterTest() {
        EXPECT_TRUE(fill(provider, 1));
        EXPECT_TRUE(select(1).wait());
    }
    ~StoreWriterTest() override { writer->stop(); }

    StoreWriter::Save select(int profile) {
        UserSettings settings;
        settings.selectedProfile = profile;
        return writer->submit(settings);
    }

    Provider provider;
    std::shared_ptr<StoreWriter> writer = std::make_shared<StoreWriter>(&provider);
    Disk& disk = useFreshDisk(dir.path());
};

TEST_F(StoreWriterTest, WhatFailsIsStoredByTheNextSaveUnlessItWasReplaced) {
    disk.failNext(DiskCall::FDATASYNC);
    UserSettings settings;
    settings.sfxOn = false;
    settings.selectedProfile = 2;
    EXPECT_FALSE(writer->submit(settings).wait());
    EXPECT_FALSE(writer->isStored());
    EXPECT_TRUE(select(0).wait());
    EXPECT_TRUE(writer->isStored());
    Provider stored;
    EXPECT_FALSE(stored.isSfxOn());
    EXPECT_EQ(stored.getSelectedProfile(), 0);
}

TEST_F(StoreWriterTest, AnEmptySaveWaitsForTheOneBeforeItAndRetriesWhatFailed) {
    disk.syncMs = 100;
    select(2);
    EXPECT_TRUE(writer->submit({}).wait());
    EXPECT_EQ(Provider().getSelectedProfile(), 2);

    disk.failNext(DiskCall::FDATASYNC);
    EXPECT_FALSE(select(0).wait());
    EXPECT_TRUE(writer->submit({}).wait());
    EXPECT_EQ(Provider().getSelectedProfile(), 0);
}

TEST_F(StoreWriterTest, SavesThatWaitTogetherShareACommit) {
    const uint64_t before = disk.syncs();
    std::vector<StoreWriter::Save> saves;
    {
        const ReadSession busy = provider.startReading();
        for (int i = 0; i < 10; ++i) saves.push_back(select(i % 2));
    }
    for (const auto& save : saves) EXPECT_TRUE(save.wait());
    EXPECT_LE(disk.syncs() - before, 2U) << "at most the first one is on its own";
    EXPECT_EQ(Provider().getSelectedProfile(), 1);
}

}  // namespace
}  // namespace velora::test
