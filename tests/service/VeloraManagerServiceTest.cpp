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
    EXPECT_THAT((std::vector{key("SFXO"), key("SPKM"), key("SPKP"), key("APMO"), key("AGSG"),
                             key("DEAM"), key("DTFV")}),
                ElementsAre(0, 0, 0, 0, 0, -1, -19));
    EXPECT_EQ(service->getProfileName(0) + service->getIeqPresetName(0) +
                  service->getSelectedTuningDevice(0),
              "");
    EXPECT_EQ(service->getAvailableTuningDevicesLen(0), 0);
    service->getAvailableTuningDevices(0, buffer, 4);
    EXPECT_STREQ(buffer, "untouched");
    service->setSelectedTuningDevice(0, buffer, 4);
    for (const std::string name :
         {"getProfileName", "getIeqPresetName", "getSelectedTuningDevice",
          "getAvailableTuningDevicesLen", "getAvailableTuningDevices", "setSelectedTuningDevice"}) {
        EXPECT_EQ(errors(name + " SndManager doesn't initialize!"), 1U);
    }
    service->setIntParam(android::fourCharacters("RLTF"), 0);
    remove(0, 1);  // nothing to save yet
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "data/vendor/velora/kiv_sqlite3.db"));

    install(contentsOf(sourceFile("data/minimal.xml")));
    add(0, 3);
    add(0, 4);
    EXPECT_GT(key("DTFV"), 0);
    EXPECT_EQ(log.count("I SndManager: Created SFX effect version [ 0 ]"), 1U);
}

TEST_F(VeloraManagerServiceTest, ClientsMoveCountersAndFlagsWhenTheyComeAndGo) {
    const auto state = [&] {
        return std::vector<int64_t>{key("DCCP"), key("DCDV"), service->hasMulitchannelDecDV(),
                                    key("DCOC"), key("GDEA"), key("SPAA"),
                                    key("LCTP")};
    };
    const auto witness = enter(0, 1);
    using Row = std::array<int64_t, 10>;  // comes (1) or goes (0), type, uid; then the state
    const Row eachType[] = {{1, 0, 50, 0, 0, 0, 0, 0, 0, -1}, {1, 7, 50, 0, 0, 0, 0, 0, 0, -1},
                            {1, 8, 50, 0, 0, 0, 0, 1, 0, -1}, {1, 9, 50, 0, 0, 0, 0, 0, 1, -1},
                            {1, 1, 50, 1, 0, 0, 0, 0, 0, 1},  {1, 2, 50, 0, 1, 0, 0, 0, 0, 2},
                            {1, 3, 50, 0, 1, 1, 6, 0, 0, 3},  {1, 4, 50, 0, 1, 1, 8, 0, 0, 4},
                            {1, 5, 50, 0, 1, 1, 12, 0, 0, 5}, {1, 6, 50, 1, 0, 0, 0, 0, 0, 6},
                            {1, 10, 50, 0, 0, 0, 0, 0, 0, 6}, {1, -1, 50, 0, 0, 0, 0, 0, 0, 6}};
    // The channels of those that stay count, but never 12; a spatializer hides the decoders, and
    // one that goes clears the flag though another stays; the keys 62 and 4 come twice.
    const Row together[] = {
        {1, 5, 10, 0, 1, 1, 12, 0, 0, 5}, {1, 3, 20, 0, 1, 1, 12, 0, 0, 3},
        {0, 3, 20, 0, 1, 1, 0, 0, 0, 3},  {1, 4, 30, 0, 1, 1, 8, 0, 0, 4},
        {1, 3, 40, 0, 1, 1, 8, 0, 0, 3},  {1, 4, 20, 0, 1, 1, 8, 0, 0, 4},
        {0, 4, 30, 0, 1, 1, 8, 0, 0, 4},  {0, 4, 20, 0, 1, 1, 6, 0, 0, 4},
        {1, 9, 50, 0, 0, 1, 6, 0, 1, 4},  {1, 2, 60, 0, 1, 1, 6, 0, 1, 2},
        {1, 8, 70, 0, 1, 1, 6, 1, 1, 2},  {1, 8, 80, 0, 1, 1, 6, 1, 1, 2},
        {0, 8, 70, 0, 1, 1, 6, 1, 1, 2},  {1, 9, 90, 0, 1, 1, 6, 1, 1, 2},
        {0, 9, 90, 0, 1, 1, 6, 1, 0, 2},  {1, 1, 61, 0, 1, 1, 6, 1, 0, 1},
        {1, 9, 53, 0, 1, 1, 6, 1, 1, 1},  {1, 6, 0xfffffffe, 1, 1, 1, 6, 1, 1, 6},
        {1, 1, 3, 1, 1, 1, 6, 1, 1, 1},   {0, 3, 1, 0, 1, 1, 6, 1, 1, 1}};
    const auto expectAfter = [&](const Row& row) {
        row[0] != 0 ? add(row[1], row[2]) : remove(row[1], row[2]);
        EXPECT_EQ(state(), std::vector(row.begin() + 3, row.end())) << testing::PrintToString(row);
    };
    for (const Row& row : eachType) {
        expectAfter(row);
        expectAfter({0, row[1], row[2], 0, 0, 0, 0, 0, 0, row[9]});
    }
    for (const Row& row : together) expectAfter(row);
    EXPECT_EQ(log.count("W VeloraManagerService: register uid already existing 0x3e"), 2U);
    EXPECT_EQ(log.count("W VeloraManagerService: register uid already existing 0x4"), 1U);
    EXPECT_EQ(witness->take(44), std::vector<Bytes>(44, kNotice));
    remove(3, 1);  // known by the sum, gone with the type it came with
    EXPECT_EQ(errors("unregisterClient() uid 0x4 does not exist in Velora Server"), 1U);
}

TEST_F(VeloraManagerServiceTest, ADeadClientLeavesWithItsCounterAndNothingElse) {
    const auto witness = enter(0, 1);
    const auto dying = enter(4, 50);
    const auto game = enter(8, 60);
    witness->take(2);
    dying->take(1);
    dying->onDied();
    game->onDied();
    EXPECT_EQ(errors("binderDied : client uid 54"), 1U);
    EXPECT_FALSE(service->hasMulitchannelDecDV());
    EXPECT_EQ(key("DCOC"), 8);
    EXPECT_EQ(key("GDEA"), 1);

    const auto successor = enter(4, 50);  // no notice of the deaths came before this one's
    EXPECT_THAT(witness->take(1), ElementsAre(kNotice));
    EXPECT_TRUE(service->hasMulitchannelDecDV());
    EXPECT_THAT(dying->take(0), IsEmpty());
}

TEST_F(VeloraManagerServiceTest, ALateDeathNoticeDoesNotTouchTheSuccessor) {
    struct KeepsLink : RecordingClient {
        android::hardware::Return<bool> linkToDeath(
            const sp<android::hardware::hidl_death_recipient>& recipient, uint64_t) override {
            kept = recipient;
            return RecordingClient::linkToDeath(recipient, 0);
        }
        sp<android::hardware::hidl_death_recipient> kept;
    };
    const auto first = sp<KeepsLink>::make();
    service->registerClient(first, 1, 10);
    service->unregisterClient(first, 1, 10);
    first->onDied();  // no longer linked
    EXPECT_EQ(errors("binderDied ..."), 0U);
    const auto second = enter(1, 10);
    first->kept->serviceDied(0, nullptr);
    EXPECT_TRUE(service->hasDecCP());
    second->onDied();
    EXPECT_FALSE(service->hasDecCP());
    endService();
    first->kept->serviceDied(0, nullptr);  // nobody left to tell
    first->kept.clear();
}

TEST_F(VeloraManagerServiceTest, UpdatesGoToEveryClientInKeyOrderWhateverAnotherOneDoes) {
    std::vector<int> order;
    std::vector<sp<RecordingClient>> clients;
    for (const int uid : {300, 100, 200}) {
        clients.push_back(enter(0, static_cast<uint32_t>(uid)));
        clients.back()->onUpdate = [&order, uid](const Bytes&) { order.push_back(uid); };
    }
    add(0, 150);
    for (size_t i = 0; i < clients.size(); ++i) clients[i]->take(3 - i);  // all notices are out
    order.clear();
    clients[1]->unreachable = true;
    Bytes data{1, 2, 3};
    service->doOnSfxParamUpdate(data.data(), 3);
    EXPECT_THAT(order, ElementsAre(100, 200, 300));
    EXPECT_EQ(errors("Call client failed on 100"), 1U);
    clients[1]->unreachable = false;
    service->doOnSfxParamUpdate(nullptr, 3);
    service->doOnSfxParamUpdate(data.data(), 0);
    EXPECT_EQ(clients[0]->take(3), (std::vector<Bytes>{{1, 2, 3}, {}, {}}));
}

TEST_F(VeloraManagerServiceTest, GetRequestsAreAnsweredInWords) {
    const auto client = enter(0, 1);
    set({command(10), 0, 2});
    set({command(2), 0, 2, 3, 106, 11});
    client->take(2);
    const std::vector<int32_t> gains{-96, -84, -60, -48, -36, -12, 0,  2,  8, 16,
                                     22,  24,  28,  36,  40,  34,  22, 16, 0, -16};
    struct Case {
        std::vector<int32_t> request;
        uint32_t room;
        std::vector<int32_t> answer;
    } const cases[] = {
        {{command(0)}, 4, {1}},
        {{command(1), 109, 4}, 80, gains},
        {{command(1), 109, 4}, 79, {}},
        {{command(1), 116, 0}, 0, {}},  // no values: nothing to write
        {{command(2), 106, 0x77777723}, 4, {11}},
        {{command(3)}, 4, {5}},
        {{command(4)}, 4, {4}},
        {{command(10)}, 4, {2}},
        {{command(10)}, 3, {}},
        {{command(11), 1}, 4, {0}},
        {{command(11), 2}, 4, {1}},
        {{command(13)}, 4, {0}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ask(c.request, c.room), c.answer) << testing::PrintToString(c.request);
    }
    // Unknown numbers, the last two the bytes of one the other way round and one too many.
    for (const int32_t unknown : {command(5), command(12), command(14), 3, command(3) | 1})
        EXPECT_THAT(ask({unknown}), IsEmpty());
    EXPECT_EQ(errors("packAndReceiveParam : Invalid output length, not enough buffer!"), 2U);
    EXPECT_EQ(errors("packAndReceiveParam : Invalid input length!"), 0U);
    for (const Bytes& tooShort : {Bytes{0, 0}, Bytes{}})  // answered from zeros
        EXPECT_EQ(askBytes(tooShort, 4), std::vector{1});
    EXPECT_EQ(errors("packAndReceiveParam : Invalid input length!"), 2U);
    EXPECT_EQ(service->getSfxParam(nullptr, 4, nullptr, 4), 0);
}

TEST_F(VeloraManagerServiceTest, DeviceNamesFillTheBufferWithBlanksBetweenAndBehind) {
    add(0, 1);
    EXPECT_EQ(service->getAvailableTuningDevicesLen(1), 27);
    const auto fill = [&](int port, int room) {
        std::string buffer(34, '#');
        service->getAvailableTuningDevices(port, buffer.data(), room);
        return buffer;
    };
    EXPECT_EQ(fill(1, 27), "default_hdmi hdmi_soundbar #######");
    EXPECT_EQ(fill(1, 32), "default_hdmi hdmi_soundbar      ##");
    for (const int room : {26, 0, -1}) EXPECT_EQ(fill(1, room), std::string(34, '#'));
    service->getAvailableTuningDevices(1, nullptr, 100);
    EXPECT_EQ(errors("getAvailableTuningDevices not enough buffer for transferring device name "
                     "lists for port 1"),
              4U);
    char name[] = "none";
    for (const int port : {7, -1}) {
        EXPECT_EQ(fill(port, 20), std::string(34, '#'));
        service->setSelectedTuningDevice(port, name, 4);
    }
    for (const int port : {7, -1, 6}) {
        EXPECT_EQ(service->getSelectedTuningDevice(port), "");
        EXPECT_EQ(service->getAvailableTuningDevicesLen(port), 0);
    }
    for (const std::string function :
         {"getAvailableTuningDevices", "getSelectedTuningDevice", "setSelectedTuningDevice"}) {
        EXPECT_EQ(errors(function + " invalid port number, 7"), 1U);
    }
}

TEST_F(VeloraManagerServiceTest, NamesAreAskedForUpToTheCountIncluded) {
    add(0, 1);
    LogCapture::clear();
    std::string names;
    for (const int number : {-1, 0, 3, 4, 6}) {
        names += service->getProfileName(number) + "," + service->getIeqPresetName(number) + ";";
    }
    EXPECT_EQ(names, ",;Dynamic,off;Game,warm;Mobility,;,;");
    EXPECT_EQ(log.count("E ..."), 0U);
    EXPECT_EQ(service->getProfileName(5), "");
    EXPECT_EQ(log.count("E SndManager: Invalid Profile Id!"), 1U);
}

TEST_F(VeloraManagerServiceTest, TheFormatVersionIsThreeNumbersBelowAThousand) {
    const std::string xml = contentsOf(sourceFile("data/minimal.xml"));
    const std::string given = R"(major="3" minor="4" maintenance="0")";
    const auto place = xml.find(given);
    ASSERT_NE(place, std::string::npos);
    const std::pair<const char*, int64_t> cases[] = {
        {R"(major="1" minor="2" maintenance="3")", 1002003},
        {R"(major="999" minor="999" maintenance="999")", 999999999},
        {R"(major="3x" minor="4" maintenance="")", 3004000},
        {R"(major="2" minor="0.0" maintenance="1")", -22},
        {R"(major="1" minor="1000" maintenance="0")", -22},
        {R"(major="1" minor="-1" maintenance="0")", -22},
        {R"(major="1" minor="0" maintenance="99999999999999999999")", -22},
    };
    for (const auto& [version, number] : cases) {
        install(std::string(xml).replace(place, given.size(), version));
        restart();
        EXPECT_EQ(key("DTFV"), number) << version;
    }
    EXPECT_EQ(errors("XML version 2.0.0.1 is not in Major.Minor.Maintain format!"), 1U);
    EXPECT_EQ(errors("XML version 1.1000.0 is invalid!\n"), 1U);
}

TEST_F(VeloraManagerServiceTest, TheDialogEnhancerAmountIsThatOfTheSelectedProfileOnTheSpeaker) {
    const auto client = enter(0, 1);
    set({command(2), 0, 0, 0, 108, 9});
    client->take(1);
    EXPECT_EQ(key("DEAM"), 9);
    set({command(2), 0, 0, 0, 105, 0});  // the graphic equaliser goes off
    client->take(1);
    EXPECT_EQ(key("DEAM"), 0);
    set({command(10), 0, 2});
    set({command(1), 0, 2, 105, 1});
    set({command(1), 0, 2, 108, 4});
    client->take(3);
    EXPECT_EQ(key("DEAM"), 4);
}

TEST_F(VeloraManagerServiceTest, IntegersAreReadByTheirKeys) {
    EXPECT_EQ(key("LCTM"), -1000);
    EXPECT_EQ(key("SPKP"), 0);
    const auto client = enter(0, 1);
    EXPECT_EQ(key("ADEV"), 2);
    EXPECT_GE(key("LCTM"), 0);
    EXPECT_THAT((std::vector{key("AGSG"), key("CHCT"), key("NONE"), key("RLTF")}),
                ElementsAre(-24, 2, -1, -1));
    const auto switches = [&] {
        return std::vector{key("APMO"), key("SFXO"), key("SPKM"), key("SPKP")};
    };
    EXPECT_THAT(switches(), ElementsAre(0, 1, 0, 0));
    set({command(0), 0, 0});
    set({command(10), 0, 4});
    char name[] = "handheld_speaker";
    service->setSelectedTuningDevice(0, name, sizeof name - 1);
    client->take(3);
    EXPECT_THAT(switches(), ElementsAre(1, 0, 1, 1));
}

TEST_F(VeloraManagerServiceTest, ReloadingTellsTheClientsOnlyWhenItSucceeded) {
    const auto client = enter(0, 1);
    service->setIntParam(android::fourCharacters("RLTX"), 1);
    dir.write("data/vendor/velora/kiv-extra.xml", "<no");
    service->setIntParam(android::fourCharacters("RLTF"), 1);
    EXPECT_THAT(client->take(0), IsEmpty());
    EXPECT_EQ(log.count("I SndManager: Tell SndContextManager to reload tuning XML."), 1U);
    dir.write("data/vendor/velora/kiv-extra.xml", contentsOf(sourceFile("data/kiv-extra.xml")));
    service->setIntParam(android::fourCharacters("RLTF"), 0);
    EXPECT_THAT(client->take(1), ElementsAre(Bytes{}));
    char name[] = "bluetooth_car_kit";
    service->setSelectedTuningDevice(4, name, sizeof name - 1);
    client->take(1);
    EXPECT_EQ(service->getSelectedTuningDevice(4), name);
}

TEST_F(VeloraManagerServiceTest, RawParametersGoToTheStore) {
    const int32_t values[] = {3, 4};
    EXPECT_EQ(service->setParam(0x8, 42, values, 2), 0);
    EXPECT_EQ(service->commitChange(), 0);
    SfxParamStore::Caches caches;
    int count = 0;
    EXPECT_EQ(service->getStoredParams(&caches, true, &count), 0);
    const auto index = static_cast<size_t>(caches.indexOfKey(0x8));
    EXPECT_EQ(caches.valueAt(index)->params().at(42), (std::vector<int32_t>{3, 4}));
}

}  // namespace
}  // namespace velora::test
