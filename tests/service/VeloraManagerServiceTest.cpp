#include "tests/service/ServiceFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;

const Bytes kNotice = bytesOf({-1, 0});

class VeloraManagerServiceTest : public ServiceFixture {
protected:
    /// Clients without a listener.
    void add(int64_t type, int64_t uid) {
        service->registerClient(nullptr, static_cast<int32_t>(type), static_cast<uint32_t>(uid));
    }
    void remove(int64_t type, int64_t uid) {
        service->unregisterClient(nullptr, static_cast<int32_t>(type), static_cast<uint32_t>(uid));
    }
};

TEST_F(VeloraManagerServiceTest, AnswersNeutrallyUntilARegistrationInitialises) {
    std::filesystem::remove_all(dir.path() / "odm");
    add(0, 1);
    EXPECT_THAT((std::vector{key("SFXO"), key("SPKM"), key("AGSG"), key("DEAM"), key("DTFV")}),
                ElementsAre(0, 0, 0, -1, -19));
    reload();
    remove(0, 1);  // nothing to save yet
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "data/vendor/velora/kiv_sqlite3.db"));

    install(contentsOf(sourceFile("data/minimal.xml")));
    add(0, 3);
    EXPECT_GT(key("DTFV"), 0);
}

TEST_F(VeloraManagerServiceTest, ClientsMoveCountersAndFlagsWhenTheyComeAndGo) {
    const auto witness = enter(0, 1);
    // Comes (1) or goes (0), type, uid; then the counters and flags. The channels of those that
    // stay count, but never 12; a spatializer hides the decoders, and one that goes clears the flag
    // though another stays; the keys 62 and 4 come twice.
    constexpr std::array<int64_t, 10> kRows[] = {
        {1, 7, 50, 0, 0, 0, 0, 0, 0, -1}, {1, 5, 10, 0, 1, 1, 12, 0, 0, 5},
        {1, 3, 20, 0, 1, 1, 12, 0, 0, 3}, {0, 3, 20, 0, 1, 1, 0, 0, 0, 3},
        {1, 4, 30, 0, 1, 1, 8, 0, 0, 4},  {1, 3, 40, 0, 1, 1, 8, 0, 0, 3},
        {0, 4, 30, 0, 1, 1, 6, 0, 0, 3},  {1, 9, 50, 0, 0, 1, 6, 0, 1, 3},
        {1, 2, 60, 0, 1, 1, 6, 0, 1, 2},  {1, 8, 70, 0, 1, 1, 6, 1, 1, 2},
        {1, 8, 80, 0, 1, 1, 6, 1, 1, 2},  {0, 8, 70, 0, 1, 1, 6, 1, 1, 2},
        {0, 8, 80, 0, 1, 1, 6, 0, 1, 2},  {1, 9, 90, 0, 1, 1, 6, 0, 1, 2},
        {0, 9, 90, 0, 1, 1, 6, 0, 0, 2},  {1, 1, 61, 0, 1, 1, 6, 0, 0, 1},
        {1, 9, 53, 0, 1, 1, 6, 0, 1, 1},  {1, 6, 0xfffffffe, 1, 1, 1, 6, 0, 1, 6},
        {1, 1, 3, 1, 1, 1, 6, 0, 1, 1},   {0, 3, 1, 0, 1, 1, 6, 0, 1, 1},
        {0, 2, 60, 0, 0, 1, 6, 0, 1, 1},  {0, 5, 10, 0, 0, 1, 6, 0, 1, 1},
        {0, 3, 40, 0, 0, 0, 0, 0, 1, 1}};
    for (const auto& row : kRows) {
        row[0] != 0 ? add(row[1], row[2]) : remove(row[1], row[2]);
        EXPECT_THAT((std::vector{key("DCCP"), key("DCDV"), int64_t{service->hasMulitchannelDecDV()},
                                 key("DCOC"), key("GDEA"), key("SPAA"), key("LCTP")}),
                    testing::ElementsAreArray(row.begin() + 3, row.end()))
            << testing::PrintToString(row);
    }
    EXPECT_EQ(witness->take(std::size(kRows)), std::vector<Bytes>(std::size(kRows), kNotice));
}

TEST_F(VeloraManagerServiceTest, ADeadClientLeavesWithItsCounterAloneAndNeverTakesASuccessorAlong) {
    struct KeepsLink : RecordingClient {
        android::hardware::Return<bool> linkToDeath(
            const sp<android::hardware::hidl_death_recipient>& recipient, uint64_t) override {
            kept = recipient;
            return RecordingClient::linkToDeath(recipient, 0);
        }
        sp<android::hardware::hidl_death_recipient> kept;
    };
    const auto witness = enter(0, 1);
    const auto dying = sp<KeepsLink>::make();
    service->registerClient(dying, 4, 50);
    const auto game = enter(8, 60);
    witness->take(2);
    dying->onDied();
    game->onDied();
    EXPECT_FALSE(service->hasMulitchannelDecDV());
    EXPECT_THAT((std::vector{key("DCOC"), key("GDEA")}), ElementsAre(8, 1));

    const auto successor = sp<KeepsLink>::make();
    service->registerClient(successor, 4, 50);
    EXPECT_THAT(witness->take(1), ElementsAre(kNotice)) << "without one of the deaths";
    dying->kept->serviceDied(0, nullptr);
    EXPECT_TRUE(service->hasMulitchannelDecDV());
    service->unregisterClient(successor, 4, 50);
    successor->onDied();
    EXPECT_EQ(log.count("E VeloraManagerService: binderDied ..."), 3U) << "it is no longer linked";
    endService();
    dying->kept->serviceDied(0, nullptr);                                // nobody left to tell
    for (const auto& client : {dying, successor}) client->kept.clear();  // links hold their clients
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
    enter(0, 1);
    EXPECT_EQ(service->getSfxParam(nullptr, 4, nullptr, 4), 0);
    service->getAvailableTuningDevices(1, nullptr, 100);
    service->setSelectedTuningDevice(1, nullptr, 3);
    service->setSelectedTuningDevice(1, nullptr, -1);
    EXPECT_EQ(service->setSfxParam(nullptr, 12), -22);
    EXPECT_EQ(setBytes(Bytes(android::VeloraManagerService::kMaxRequestSize + 1)), -22);
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
        EXPECT_EQ(key("DTFV"), number) << version;
    }
}

}  // namespace
}  // namespace velora::test
