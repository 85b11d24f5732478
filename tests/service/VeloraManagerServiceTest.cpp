#include "tests/service/ServiceFixture.h"

#include <sstream>

namespace velora::test {
namespace {

using enum Command;
using testing::ElementsAre;

const Bytes kNotice = bytesOf({-1, 0});

class VeloraManagerServiceTest : public ServiceFixture {
protected:
    /// Clients without a listener.
    void add(int32_t type, uint32_t uid) { service->registerClient(nullptr, type, uid); }
    void remove(int32_t type, uint32_t uid) { service->unregisterClient(nullptr, type, uid); }

    /// What the registered clients count for, such as "DCDV 1 DCOC 8 LCTP 4".
    std::string counts() {
        constexpr char kKeys[][5] = {"DCCP", "DCDV", "DCOC", "GDEA", "SPAA", "LCTP"};
        std::ostringstream text;
        for (const auto& key : kKeys) {
            if (value(key) != 0) text << key << ' ' << value(key) << ' ';
        }
        return text.str();
    }
};

TEST_F(VeloraManagerServiceTest, AnswersNeutrallyUntilARegistrationInitialises) {
    std::filesystem::remove_all(dir.path() / "odm");
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

TEST_F(VeloraManagerServiceTest, NothingIsInitialisedAfterShutdown) {
    EXPECT_TRUE(service->shutdown());
    add(0, 1);
    EXPECT_EQ(value("DTFV"), -19);
}

TEST_F(VeloraManagerServiceTest, NothingIsReloadedAfterShutdown) {
    const auto client = enter(0, 1);
    installOem(extra);
    EXPECT_TRUE(service->shutdown());
    const auto devices = service->getAvailableTuningDevicesLen(PORT_BLUETOOTH);
    reload();
    EXPECT_EQ(service->getAvailableTuningDevicesLen(PORT_BLUETOOTH), devices);
    EXPECT_TRUE(client->take(0).empty());
}

TEST_F(VeloraManagerServiceTest, EachTypeChangesItsOwnCountersAndFlags) {
    constexpr const char* kCounts[] = {"LCTP -1 ",
                                       "DCCP 1 LCTP 1 ",
                                       "DCDV 1 LCTP 2 ",
                                       "DCDV 1 DCOC 6 LCTP 3 ",
                                       "DCDV 1 DCOC 8 LCTP 4 ",
                                       "DCDV 1 DCOC 12 LCTP 5 ",
                                       "DCCP 1 LCTP 6 ",
                                       "LCTP 6 ",
                                       "GDEA 1 LCTP 6 ",
                                       "SPAA 1 LCTP 6 ",
                                       "LCTP 6 "};
    const auto witness = enter(0, 1);
    for (int32_t type = 0; type <= 10; ++type) {
        SCOPED_TRACE(type);
        add(type, 50);
        EXPECT_EQ(counts(), kCounts[type]);
        remove(type, 50);
        EXPECT_EQ(counts(), "LCTP " + std::to_string(value("LCTP")) + " ");
        EXPECT_THAT(witness->take(2), ElementsAre(kNotice, kNotice));
    }
}

TEST_F(VeloraManagerServiceTest, TheChannelsAreThoseOfTheDecodersThatRemainButNever12) {
    add(5, 10);
    add(3, 20);
    EXPECT_EQ(value("DCOC"), 12);
    remove(3, 20);
    EXPECT_EQ(value("DCOC"), 0);
    add(4, 30);
    add(3, 40);
    EXPECT_EQ(value("DCOC"), 8);
    remove(4, 30);
    EXPECT_EQ(value("DCOC"), 6);
}

TEST_F(VeloraManagerServiceTest, AFlagRemainsWithTheLastGameButIsClearedWithAnySpatializer) {
    for (const uint32_t uid : {10, 20}) {
        add(8, uid);
        add(9, uid + 100);
    }
    add(4, 30);
    EXPECT_EQ(counts(), "DCOC 8 GDEA 1 SPAA 1 LCTP 4 ") << "which hides the decoder";
    remove(8, 10);
    remove(9, 110);
    EXPECT_EQ(counts(), "DCDV 1 DCOC 8 GDEA 1 LCTP 4 ");
}

TEST_F(VeloraManagerServiceTest, ASecondClientWithTheSameSumIsNotAddedButSetsItsFlags) {
    add(6, 0xfffffffe);  // wraps to 4
    add(2, 2);
    add(9, 0xfffffffb);
    EXPECT_EQ(counts(), "DCCP 1 SPAA 1 LCTP 2 ");
    remove(1, 3);  // the first one
    EXPECT_EQ(counts(), "SPAA 1 LCTP 2 ");
}

/// A client whose death notice can come again, late.
struct LateNotice : RecordingClient {
    android::hardware::Return<bool> linkToDeath(
        const sp<android::hardware::hidl_death_recipient>& recipient, uint64_t) override {
        link = recipient;
        return RecordingClient::linkToDeath(recipient, 0);
    }
    sp<android::hardware::hidl_death_recipient> link;
};

TEST_F(VeloraManagerServiceTest, ADeathChangesTheCounterAlone) {
    const auto witness = enter(0, 1);
    const auto decoder = enter(4, 50);
    const auto game = enter(8, 60);
    witness->take(2);
    decoder->onDied();
    game->onDied();
    EXPECT_EQ(counts(), "DCOC 8 GDEA 1 LCTP 4 ");
    add(0, 2);
    EXPECT_THAT(witness->take(1), ElementsAre(kNotice)) << "without one of the deaths";
}

TEST_F(VeloraManagerServiceTest, ALateDeathNoticeChangesNothing) {
    const auto died = sp<LateNotice>::make();
    service->registerClient(died, 4, 50);
    died->onDied();
    const auto successor = sp<LateNotice>::make();
    service->registerClient(successor, 4, 50);
    died->link->serviceDied(0, nullptr);
    EXPECT_EQ(counts(), "DCDV 1 DCOC 8 LCTP 4 ");
    service->unregisterClient(successor, 4, 50);
    successor->onDied();
    EXPECT_EQ(log.count("E VeloraManagerService: binderDied ..."), 2U) << "it is no longer linked";
    endService();
    died->link->serviceDied(0, nullptr);
    for (const auto& client : {died, successor}) client->link.clear();  // which holds its client
}

TEST_F(VeloraManagerServiceTest, UpdatesGoToEveryClientInKeyOrderWhateverAnotherOneDoes) {
    std::vector<int> order;
    std::vector<sp<RecordingClient>> clients;
    for (const int uid : {300, 100, 200}) {
        clients.push_back(enter(0, static_cast<uint32_t>(uid)));
        clients.back()->onUpdate = [&order, uid](const Bytes&) { order.push_back(uid); };
    }
    for (size_t i = 0; i < clients.size(); ++i) clients[i]->take(2 - i);  // all notices are out
    order.clear();
    clients[1]->unreachable = true;
    Bytes data{1, 2, 3};
    service->doOnSfxParamUpdate(data.data(), 3);
    EXPECT_THAT(order, ElementsAre(100, 200, 300));
    service->doOnSfxParamUpdate(nullptr, 3);
    EXPECT_EQ(clients[0]->take(2), (std::vector<Bytes>{{1, 2, 3}, {}}));
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

// The numbers of the commands as clients send them.
TEST_F(VeloraManagerServiceTest, GetRequestsAreAnswered) {
    const auto client = enter(0, 1);
    set(PROFILE_PARAMETER, {1, 106, 3});
    client->take(1);
    struct Case {
        uint32_t command;
        Integers arguments = {};
        Integers answer = {};
    };
    const Case cases[] = {{.command = 0, .answer = {1}},
                          {.command = 1, .arguments = {106, 1}, .answer = {3}},
                          {.command = 2, .arguments = {106, 0x11}, .answer = {3}},
                          {.command = 3, .answer = {5}},
                          {.command = 4, .answer = {4}},
                          {.command = 5},
                          {.command = 10, .answer = {0}},
                          {.command = 11, .arguments = {1}, .answer = {1}},
                          {.command = 12},
                          {.command = 13, .answer = {0}}};
    for (const Case& c : cases) EXPECT_EQ(ask(Command{c.command}, c.arguments), c.answer);
}

TEST_F(VeloraManagerServiceTest, AnAnswerIsWrittenWholeOrNotAtAll) {
    enter(0, 1);
    Integers request = words(PROFILE_PARAMETER, {109, 0});
    for (const uint32_t room : {79u, 80u}) {
        Integers answer(20, -1);
        EXPECT_EQ(service->getSfxParam(request.data(), 12, answer.data(), room), 0);
        EXPECT_EQ(answer, Integers(20, room < 80 ? -1 : 0));
    }
}

TEST_F(VeloraManagerServiceTest, TheDeviceListIsPaddedWithBlanksOrNotWritten) {
    enter(0, 1);
    const int size = service->getAvailableTuningDevicesLen(PORT_USB);
    std::string list(static_cast<size_t>(size) + 2, '?');
    service->getAvailableTuningDevices(PORT_USB, list.data(), size - 1);
    EXPECT_EQ(list, std::string(list.size(), '?'));
    service->getAvailableTuningDevices(PORT_USB, list.data(), size + 1);
    EXPECT_EQ(list, "default_usb usb_dac  ?");
}

TEST_F(VeloraManagerServiceTest, TheDialogEnhancersAmountIsTheDuckingUnlessTheEqualiserIsOff) {
    const auto client = enter(0, 1);
    set(PROFILE_PORT_PARAMETER, {0, PORT_INTERNAL_SPEAKER, 108, 7});
    set(PROFILE_PORT_PARAMETER, {0, PORT_INTERNAL_SPEAKER, 105, 1});
    client->take(2);
    EXPECT_EQ(value("DEAM"), 7);
    set(PROFILE_PORT_PARAMETER, {0, PORT_INTERNAL_SPEAKER, 105, 0});
    client->take(1);
    EXPECT_EQ(value("DEAM"), 0);
}

TEST_F(VeloraManagerServiceTest, TheFacadeAnswersForTheProfileBehindTheLast) {
    enter(0, 1);
    const int count = ask(PROFILE_COUNT)[0];
    for (const int profile : {-1, count, count + 1}) {
        EXPECT_EQ(service->getProfileName(profile), "");
    }
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
