#include "store/Provider.h"
#include "store/StoreWriter.h"
#include "tests/faults/Disk.h"
#include "tests/store/FilledStore.h"

namespace velora::test {
namespace {

class ProviderTest : public RootFixture {
protected:
    ProviderTest() {
        EXPECT_TRUE(fill(provider, 5));
        EXPECT_EQ(provider.init(), 0);
    }

    void change(const std::string& sql) {
        changeStore(sql);
        EXPECT_EQ(provider.init(), 0);
    }

    Provider provider;
};

TEST_F(ProviderTest, ProfilesAreKnownByTheirNumbers) {
    for (const int id : {4, 256}) {
        Profile profile(id, "number " + std::to_string(id), false);
        provider.create(&profile);
    }
    ASSERT_EQ(provider.init(), 0);
    EXPECT_EQ(provider.getNumOfProfiles(), 5);
    EXPECT_EQ(provider.loadProfile(3)->getName(), "");
    EXPECT_EQ(provider.loadProfile(4)->getName(), "number 4");
    EXPECT_EQ(provider.loadProfile(5), nullptr);
    EXPECT_EQ(provider.loadProfileEndpoints(-1)[0], nullptr);
    EXPECT_EQ(provider.loadProfileEndpoint(0, static_cast<Endpoint>(3)), nullptr);
}

TEST_F(ProviderTest, ARowWhoseNumberIsNotPlainIsLeftOut) {
    change("UPDATE profiles SET profile_id='x', name='damaged' WHERE profile_id='0'");
    EXPECT_EQ(log.count("E DatabaseHelper: a row of profiles is left out, its number is \"x\""),
              1U);
    EXPECT_EQ(provider.getRecords(0).profile->getName(), "");

    change("UPDATE profiles SET profile_id='1x', selected_geq_preset_id='9' WHERE profile_id='1'");
    provider.loadAll();
    EXPECT_EQ(provider.getRecords(1).profile->getSelectedGeqPreset(), 1) << "as it was created";
}

TEST_F(ProviderTest, AResetRecordKeepsItsOwnRow) {
    Profile* const profile = provider.loadProfile(1);
    const int64_t id = profile->getId();
    profile->setName("Bob's");
    provider.save(profile);
    EXPECT_TRUE(profile->isDirty()) << "its name can't be stored";
    EXPECT_EQ(provider.reset(profile)->getName(), "profile5");
    EXPECT_EQ(profile->getId(), id);
    provider.save(profile);
    EXPECT_FALSE(profile->isDirty());
}

TEST_F(ProviderTest, DevicesThatCannotBeReadAreReadLater) {
    changeStore("ALTER TABLE device_tunings RENAME TO hidden");
    {
        const ReadSession session = provider.startReading();
        EXPECT_TRUE(provider.loadDeviceTuningsForPort(static_cast<Port>(99)).empty());
        EXPECT_TRUE(session.ok()) << "there is nothing to read for this port";
        EXPECT_TRUE(provider.loadDeviceTuningsForPort(PORT_USB).empty());
        EXPECT_FALSE(session.ok());
    }
    changeStore("ALTER TABLE hidden RENAME TO device_tunings");
    EXPECT_EQ(provider.loadDeviceTuningsForPort(PORT_USB).size(), 1U);
}

TEST_F(ProviderTest, ATransactionThatCouldNotBeginStoresNothing) {
    auto other = holdStore();
    Transaction transaction(provider);
    other.reset();
    provider.setSelectedProfile(9);
    EXPECT_FALSE(transaction.commit());
    EXPECT_EQ(provider.getSelectedProfile(), 5);
}

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
