#include "tests/service/ServiceFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Bytes kNotice = bytesOf({-1, 0});

/// The answers to the questions about the registered clients.
struct Counts {
    int cpDecoder = 0, dvDecoder = 0, channels = 0, gameEffect = 0, spatializer = 0;
};

class VeloraManagerServiceTest : public ServiceFixture {
protected:
    /// Clients without a listener.
    void add(int32_t type, uint32_t uid) { service->registerClient(nullptr, type, uid); }
    void remove(int32_t type, uint32_t uid) { service->unregisterClient(nullptr, type, uid); }

    void expectCounts(const Counts& expected) {
        EXPECT_EQ(value("DCCP"), expected.cpDecoder);
        EXPECT_EQ(value("DCDV"), expected.dvDecoder);
        EXPECT_EQ(value("DCOC"), expected.channels);
        EXPECT_EQ(value("GDEA"), expected.gameEffect);
        EXPECT_EQ(value("SPAA"), expected.spatializer);
    }
};

TEST_F(VeloraManagerServiceTest, NothingIsInitialisedOrReloadedAfterShutdown) {
    EXPECT_TRUE(service->shutdown());
    add(0, 1);
    EXPECT_EQ(value("DTFV"), -19);
    const auto client = restart();
    EXPECT_TRUE(service->shutdown());
    installOem(extra);
    reload();
    EXPECT_THAT(client->awaitUpdates(0), IsEmpty());
}

TEST_F(VeloraManagerServiceTest, EachTypeChangesItsOwnCountersAndFlags) {
    const struct {
        Counts counts;
        int codec;  ///< the type of the last decoder, which remains
    } rows[] = {
        {.counts = {}, .codec = -1},
        {.counts = {.cpDecoder = 1}, .codec = 1},
        {.counts = {.dvDecoder = 1}, .codec = 2},
        {.counts = {.dvDecoder = 1, .channels = 6}, .codec = 3},
        {.counts = {.dvDecoder = 1, .channels = 8}, .codec = 4},
        {.counts = {.dvDecoder = 1, .channels = 12}, .codec = 5},
        {.counts = {.cpDecoder = 1}, .codec = 6},
        {.counts = {}, .codec = 6},
        {.counts = {.gameEffect = 1}, .codec = 6},
        {.counts = {.spatializer = 1}, .codec = 6},
        {.counts = {}, .codec = 6},
    };
    const auto witness = enter(0, 1);
    for (const auto& row : rows) {
        const auto type = static_cast<int32_t>(&row - rows);
        SCOPED_TRACE(type);
        add(type, 50);
        expectCounts(row.counts);
        EXPECT_EQ(value("LCTP"), row.codec);
        remove(type, 50);
        expectCounts({});
        EXPECT_THAT(witness->awaitUpdates(2), ElementsAre(kNotice, kNotice));
    }
}

TEST_F(VeloraManagerServiceTest, TheNumberOfChannelsIsThatOfTheRemainingDecodersUnlessTheyHave12) {
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

TEST_F(VeloraManagerServiceTest, TheGameFlagRemainsUntilTheLastGameUnregisters) {
    add(8, 10);
    add(8, 20);
    remove(8, 10);
    expectCounts({.gameEffect = 1});
}

TEST_F(VeloraManagerServiceTest, ASpatializerHidesTheDecodersUntilAnySpatializerUnregisters) {
    add(9, 10);
    add(9, 20);
    add(4, 30);
    expectCounts({.channels = 8, .spatializer = 1});
    remove(9, 10);
    expectCounts({.dvDecoder = 1, .channels = 8});
}

TEST_F(VeloraManagerServiceTest, ASecondClientWithTheSameSumIsNotAddedButSetsItsFlags) {
    add(6, 0xfffffffe);  // wraps to 4
    add(2, 2);
    add(9, 0xfffffffb);
    expectCounts({.cpDecoder = 1, .spatializer = 1});
    remove(1, 3);  // the first one
    expectCounts({.spatializer = 1});
}

TEST_F(VeloraManagerServiceTest, ADeathChangesTheCounterAlone) {
    const auto witness = enter(0, 1);
    for (const int32_t type : {4, 8}) enter(type, 50)->onDied();
    expectCounts({.channels = 8, .gameEffect = 1});
    EXPECT_THAT(witness->awaitUpdates(2), ElementsAre(kNotice, kNotice)) << "of the registrations";
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
    expectCounts({.dvDecoder = 1, .channels = 8});
    service->unregisterClient(successor, 4, 50);
    successor->onDied();
    EXPECT_EQ(log.count("E VeloraManagerService: binderDied ..."), 2U) << "it is no longer linked";
    endService();
    died->link->serviceDied(0, nullptr);
    for (const auto& client : {died, successor}) client->link.clear();  // which holds its client
}

TEST_F(VeloraManagerServiceTest, UpdatesGoToEveryClientInKeyOrderWhateverAnotherOneDoes) {
    std::vector<std::string> calls;
    for (const uint32_t uid : {3u, 1u, 2u}) {
        const auto client = enter(0, uid);
        client->unreachable = uid == 1;
        client->onUpdate = [&calls, uid](const Bytes& update) {
            if (update == kNotice) return;
            calls.push_back(std::to_string(uid) + std::string(update.begin(), update.end()));
        };
    }
    Bytes data{'a', 'b', 'c'};
    service->doOnSfxParamUpdate(data.data(), 3);
    service->doOnSfxParamUpdate(nullptr, 3);
    EXPECT_THAT(calls, ElementsAre("1abc", "2abc", "3abc", "1", "2", "3"));
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

TEST_F(VeloraManagerServiceTest, AProfileThatDoesNotExistHasAnEmptyName) {
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
    };
    for (const auto& [version, number] : cases) {
        install(std::string(xml).replace(xml.find(given), given.size(), version));
        restart();
        EXPECT_EQ(value("DTFV"), number) << version;
    }
}

}  // namespace
}  // namespace velora::test
