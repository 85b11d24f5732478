#include "tests/service/ServiceFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
    /// How many errors of the service have this text, or begin so when it ends with "...".
    size_t errors(const std::string& text) const {
        return log.count("E VeloraManagerService: " + text);
    }
};

TEST_F(VeloraManagerServiceTest, AnswersNeutrallyUntilARegistrationInitialises) {
    std::filesystem::remove_all(dir.path() / "odm");
    add(0, 1);
    add(0, 2);
    char buffer[] = "untouched";
    EXPECT_EQ(service->setSfxParam(buffer, 4), -19);
    EXPECT_EQ(service->getSfxParam(buffer, 4, buffer, 4), -19);
    EXPECT_THAT((std::vector{key("SFXO"), key("SPKM"), key("AGSG"), key("DEAM"), key("DTFV")}),
                ElementsAre(0, 0, 0, -1, -19));
    selectDevice(0, "none");
    EXPECT_EQ(errors("setSelectedTuningDevice SndManager doesn't initialize!"), 1U);
    reload();
    remove(0, 1);  // nothing to save yet
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "data/vendor/velora/kiv_sqlite3.db"));

    install(contentsOf(sourceFile("data/minimal.xml")));
    add(0, 3);
    add(0, 4);
    EXPECT_GT(key("DTFV"), 0);
    EXPECT_EQ(log.count("I SndManager: Created SFX effect version [ 0 ]"), 1U);
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
    EXPECT_EQ(log.count("W VeloraManagerService: register uid already existing 0x3e"), 2U);
    EXPECT_EQ(witness->take(std::size(kRows)), std::vector<Bytes>(std::size(kRows), kNotice));
    remove(3, 1);  // known by the sum, gone with the type it came with
    EXPECT_EQ(errors("unregisterClient() uid 0x4 does not exist in Velora Server"), 1U);
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
    EXPECT_EQ(errors("binderDied : client uid 54"), 1U);
    EXPECT_FALSE(service->hasMulitchannelDecDV());
    EXPECT_THAT((std::vector{key("DCOC"), key("GDEA")}), ElementsAre(8, 1));

    auto successor = enter(4, 50);
    EXPECT_THAT(witness->take(1), ElementsAre(kNotice)) << "without one of the deaths";
    dying->kept->serviceDied(0, nullptr);
    EXPECT_TRUE(service->hasMulitchannelDecDV());
    service->unregisterClient(successor, 4, 50);
    log.clear();
    successor->onDied();  // no longer linked
    EXPECT_EQ(errors("binderDied ..."), 0U);
    endService();
    dying->kept->serviceDied(0, nullptr);  // nobody left to tell
}

TEST_F(VeloraManagerServiceTest, UpdatesGoToEveryClientInKeyOrderWhateverAnotherOneDoes) {
    std::vector<int> order;
    std::vector<sp<RecordingClient>> clients;
    for (const int uid : {300, 100, 200}) {
        clients.push_back(enter(0, static_cast<uint32_t>(uid)));
        clients.back()->onUpdate = [&order, uid](const Bytes&) { order.push_back(uid); };
    }
    for (size_t i = 0; i < clients.size(); ++i) clients[i]->take(2 - i);  // all notices are out
    add(0, 150);
    clients[0]->take(1);
    order.clear();
    clients[1]->unreachable = true;
    Bytes data{1, 2, 3};
    service->doOnSfxParamUpdate(data.data(), 3);
    EXPECT_THAT(order, ElementsAre(100, 200, 300));
    EXPECT_EQ(errors("Call client failed on 100"), 1U);
    service->doOnSfxParamUpdate(nullptr, 3);
    EXPECT_EQ(clients[0]->take(2), (std::vector<Bytes>{{1, 2, 3}, {}}));
}

TEST_F(VeloraManagerServiceTest, BuffersMayBeShortOrNone) {
    enter(0, 1);
    for (const Bytes& tooShort : {Bytes{0, 0}, Bytes{}})  // answered from zeros
        EXPECT_EQ(askBytes(tooShort, 4), std::vector{1});
    EXPECT_EQ(errors("packAndReceiveParam : Invalid input length!"), 2U);
    EXPECT_THAT(ask({command(1), 109, 4}, 79), IsEmpty());
    EXPECT_EQ(service->getSfxParam(nullptr, 4, nullptr, 4), 0);
    EXPECT_EQ(errors("packAndReceiveParam : Invalid output length, not enough buffer!"), 2U);
    service->getAvailableTuningDevices(1, nullptr, 100);
    EXPECT_EQ(errors("getAvailableTuningDevices not enough ..."), 1U);
    service->setSelectedTuningDevice(1, nullptr, 3);
    service->setSelectedTuningDevice(1, nullptr, -1);
    EXPECT_EQ(errors("setSelectedTuningDevice invalid name of length -1"), 1U);
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
    EXPECT_EQ(errors("XML version 2.0.0.1 is not in Major.Minor.Maintain format!"), 1U);
}

}  // namespace
}  // namespace velora::test
