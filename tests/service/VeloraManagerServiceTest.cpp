#include "tests/service/ServiceFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Bytes kNotice = bytesOf({-1, 0});

class VeloraManagerServiceTest : public ServiceFixture {
protected:
    /// Clients without a listener.
    void add(int32_t type, uint32_t uid) { service->registerClient(nullptr, type, uid); }
    void remove(int32_t type, uint32_t uid) { service->unregisterClient(nullptr, type, uid); }

    /// What the registered clients count for, such as "DCDV 1 DCOC 8 ".
    std::string counts() {
        constexpr char kKeys[][5] = {"DCCP", "DCDV", "DCOC", "GDEA", "SPAA"};
        std::string text;
        for (const auto& key : kKeys) {
            if (const auto count = value(key)) text += key + (' ' + std::to_string(count)) + ' ';
        }
        return text;
    }
};

TEST_F(VeloraManagerServiceTest, AnswersNeutrallyUntilARegistrationInitialises) {
    uninstall();
    add(0, 1);
    EXPECT_THAT(
        (std::vector{value("SFXO"), value("SPKM"), value("AGSG"), value("DEAM"), value("DTFV")}),
        ElementsAre(0, 0, 0, -1, -19));
    EXPECT_EQ(set(SWITCH_EFFECT, {1}), -19);
    reload();
    remove(0, 1);  // nothing to save yet
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "data/vendor/velora/kiv_sqlite3.db"));

    install(contentsOf(sourceFile("data/minimal.xml")));
    add(0, 3);
    EXPECT_GT(value("DTFV"), 0);
}

TEST_F(VeloraManagerServiceTest, NothingIsInitialisedOrReloadedAfterShutdown) {
    EXPECT_TRUE(service->shutdown());
    add(0, 1);
    EXPECT_EQ(value("DTFV"), -19);
    const auto client = restart();
    EXPECT_TRUE(service->shutdown());
    installOem(extra);
    reload();
    EXPECT_THAT(client->take(0), IsEmpty());
}

TEST_F(VeloraManagerServiceTest, WhatCouldNotBeStoredIsStoredByTheNextSave) {
    const auto client = enter(0, 1);
    EXPECT_EQ(set(PROFILE_PARAMETER, {2, 106, 11}), 0);
    client->take(1);
    {
        const auto other = holdStore();
        EXPECT_FALSE(service->saveSettings());
    }
    EXPECT_FALSE(service->isSaved());
    EXPECT_TRUE(service->saveSettings());
    EXPECT_TRUE(service->isSaved());
    restart();
    EXPECT_EQ(parameter(2, 106), Integers{11});
}

TEST_F(VeloraManagerServiceTest, EachTypeChangesItsOwnCountersAndFlags) {
    const auto witness = enter(0, 1);
    std::string seen;
    for (int32_t type = 0; type < 11; ++type) {
        add(type, 50);
        seen += std::to_string(type) + ": " + counts() + "codec " + std::to_string(value("LCTP"));
        remove(type, 50);
        seen += counts() + "\n";
        EXPECT_THAT(witness->take(2), ElementsAre(kNotice, kNotice));
    }
    EXPECT_EQ(seen,
              "0: codec -1\n1: DCCP 1 codec 1\n2: DCDV 1 codec 2\n3: DCDV 1 DCOC 6 codec 3\n"
              "4: DCDV 1 DCOC 8 codec 4\n5: DCDV 1 DCOC 12 codec 5\n6: DCCP 1 codec 6\n"
              "7: codec 6\n8: GDEA 1 codec 6\n9: SPAA 1 codec 6\n10: codec 6\n");
}

TEST_F(VeloraManagerServiceTest, TheChannelsAreThoseOfTheDecodersThatRemainButNever12) {
    add(5, 10);
    add(3, 20);
    EXPECT_EQ(value("DCOC"), 12);
    remove(3, 20);
    EXPECT_EQ(value("DCOC"), 0);
    add(4, 30);
    add(3, 40);
    remove(4, 30);
    EXPECT_EQ(value("DCOC"), 6);
}

TEST_F(VeloraManagerServiceTest, AFlagRemainsWithTheLastGameButIsClearedWithAnySpatializer) {
    for (const uint32_t uid : {10u, 20u}) {
        add(8, uid);
        add(9, uid + 100);
    }
    add(4, 30);
    EXPECT_EQ(counts(), "DCOC 8 GDEA 1 SPAA 1 ") << "which hides the decoder";
    remove(8, 10);
    remove(9, 110);
    EXPECT_EQ(counts(), "DCDV 1 DCOC 8 GDEA 1 ");
}

TEST_F(VeloraManagerServiceTest, ASecondClientWithTheSameSumIsNotAddedButSetsItsFlags) {
    add(6, 0xfffffffe);  // wraps to 4
    add(2, 2);
    add(9, 0xfffffffb);
    EXPECT_EQ(counts(), "DCCP 1 SPAA 1 ");
    remove(1, 3);  // the first one
    EXPECT_EQ(counts(), "SPAA 1 ");
}

TEST_F(VeloraManagerServiceTest, ADeathChangesTheCounterAlone) {
    const auto witness = enter(0, 1);
    for (const int32_t type : {4, 8}) enter(type, 50)->onDied();
    EXPECT_EQ(counts(), "DCOC 8 GDEA 1 ");
    EXPECT_THAT(witness->take(2), ElementsAre(kNotice, kNotice)) << "of the registrations";
}

TEST_F(VeloraManagerServiceTest, ALateDeathNoticeChangesNothing) {
    struct LateNotice : RecordingClient {
        android::hardware::Return<bool> linkToDeath(
            const sp<android::hardware::hidl_death_recipient>& recipient, uint64_t) override {
            link = recipient;
            return RecordingClient::linkToDeath(recipient, 0);
        }
        sp<android::hardware::hidl_death_recipient> link;
    };
    const auto died = sp<LateNotice>::make();
    service->registerClient(died, 4, 50);
    died->onDied();
    const auto successor = sp<LateNotice>::make();
    service->registerClient(successor, 4, 50);
    died->link->serviceDied(0, nullptr);
    EXPECT_EQ(counts(), "DCDV 1 DCOC 8 ");
    service->unregisterClient(successor, 4, 50);
    successor->onDied();
    EXPECT_EQ(log.count("E VeloraManagerService: binderDied ..."), 2U) << "it is no longer linked";
    endService();
    died->link->serviceDied(0, nullptr);
    for (const auto& client : {died, successor}) client->link.clear();  // which holds its client
}

TEST_F(VeloraManagerServiceTest, UpdatesGoToEveryClientInKeyOrderWhateverAnotherOneDoes) {
    std::string calls;
    for (const uint32_t uid : {3u, 1u, 2u}) {
        const auto client = enter(0, uid);
        client->unreachable = uid == 1;
        client->onUpdate = [&calls, uid](const Bytes& update) {
            if (update != kNotice)
                calls += std::to_string(uid) + std::string(update.begin(), update.end()) + " ";
        };
    }
    Bytes data{'a', 'b', 'c'};
    service->doOnSfxParamUpdate(data.data(), 3);
    service->doOnSfxParamUpdate(nullptr, 3);
    EXPECT_EQ(calls, "1abc 2abc 3abc 1 2 3 ");
}

TEST_F(VeloraManagerServiceTest, BuffersMayBeMissingOrTooLong) {
    constexpr auto kMax = android::VeloraManagerService::kMaxRequestSize;
    enter(0, 1);
    EXPECT_EQ(service->getSfxParam(nullptr, 4, nullptr, 4), 0);
    service->getAvailableTuningDevices(1, nullptr, 100);
    service->setSelectedTuningDevice(1, nullptr, 3);
    service->setSelectedTuningDevice(1, nullptr, -1);
    EXPECT_EQ(service->setSfxParam(nullptr, 12), -22);
    EXPECT_EQ(setBytes(Bytes(kMax + 1)), -22);
    EXPECT_EQ(setBytes(Bytes(kMax)), 0);
}

TEST_F(VeloraManagerServiceTest, TheFacadeAnswersForTheProfileBehindTheLast) {
    enter(0, 1);
    for (const int profile : {-1, 5, 6}) EXPECT_EQ(service->getProfileName(profile), "");
    EXPECT_EQ(log.count("E SndManager: Invalid Profile Id!"), 1U);
}

TEST_F(VeloraManagerServiceTest, TheFormatVersionIsThreeNumbersBelowAThousand) {
    const std::string xml = contentsOf(sourceFile("data/minimal.xml"));
    const std::string given = R"(major="3" minor="4" maintenance="0")";
    const std::pair<const char*, int64_t> cases[] = {
        {R"(major="999" minor="999" maintenance="999")", 999999999},
        {R"(major="3x" minor="4" maintenance="")", 3004000},
        {R"(major="2" minor="0.0" maintenance="1")", -22},
        {R"(major="1" minor="1000" maintenance="0")", -22},
        {R"(major="1" minor="-1" maintenance="0")", -22},
        {R"(major="1" minor="0" maintenance="99999999999999999999")", -22},
    };
    for (const auto& [version, number] : cases) {
        install(std::string(xml).replace(xml.find(given), given.size(), version));
        restart();
        EXPECT_EQ(value("DTFV"), number) << version;
    }
}

}  // namespace
}  // namespace velora::test
