#include "tests/service/ServiceFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Bytes kNotice = bytesOf({-1, 0});

using VeloraManagerServiceTest = ServiceFixture;

TEST_F(VeloraManagerServiceTest, AnswersNeutrallyUntilARegistrationInitialises) {
    std::filesystem::remove_all(dir.path() / "odm");
    service->registerClient(nullptr, 0, 1);
    service->registerClient(nullptr, 0, 2);
    char buffer[] = "untouched";
    int32_t word = 77;
    EXPECT_EQ(service->setSfxParam(&word, sizeof word), -19);
    EXPECT_EQ(service->getSfxParam(&word, sizeof word, &word, sizeof word), -19);
    EXPECT_FALSE(service->getSfxEnabled() || service->isMonoInternalSpeaker() ||
                 service->isSpeakerPortraitMode() || service->isMobilityProfileSelected());
    EXPECT_EQ(service->getDialogEnhancerAmount(), -1);
    EXPECT_EQ(service->getZenithGameSystemGain(), 0);
    EXPECT_EQ(service->getDefaultXmlFormatVersion(), -19);
    EXPECT_EQ(service->getProfileName(0) + service->getIeqPresetName(0) +
                  service->getSelectedTuningDevice(0),
              "");
    EXPECT_EQ(service->getAvailableTuningDevicesLen(0), 0);
    service->getAvailableTuningDevices(0, buffer, 4);
    EXPECT_STREQ(buffer, "untouched");
    service->setSelectedTuningDevice(0, buffer, 4);
    for (const char* name :
         {"getProfileName", "getIeqPresetName", "getSelectedTuningDevice",
          "getAvailableTuningDevicesLen", "getAvailableTuningDevices", "setSelectedTuningDevice"}) {
        EXPECT_EQ(log.count(std::string("E VeloraManagerService: ") + name +
                            " SndManager doesn't initialize!"),
                  1U);
    }
    service->setIntParam(android::fourCharacters("RLTF"), 0);
    service->unregisterClient(nullptr, 0, 1);  // nothing to save yet
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "data/vendor/velora/kiv_sqlite3.db"));

    install(contentsOf(sourceFile("data/minimal.xml")));
    service->registerClient(nullptr, 0, 3);
    service->registerClient(nullptr, 0, 4);
    EXPECT_GT(key("DTFV"), 0);
    EXPECT_EQ(log.count("I SndManager: Created SFX effect version [ 0 ]"), 1U);
}

struct TypeCase {
    int32_t type;
    int64_t cp, dv, multichannel, channels, game, spatializer, codec;
};

TEST_F(VeloraManagerServiceTest, EachClientTypeMovesItsCountersAndFlags) {
    const TypeCase cases[] = {
        {0, 0, 0, 0, 0, 0, 0, -1}, {1, 1, 0, 0, 0, 0, 0, 1},   {2, 0, 1, 0, 0, 0, 0, 2},
        {3, 0, 1, 1, 6, 0, 0, 3},  {4, 0, 1, 1, 8, 0, 0, 4},   {5, 0, 1, 1, 12, 0, 0, 5},
        {6, 1, 0, 0, 0, 0, 0, 6},  {7, 0, 0, 0, 0, 0, 0, -1},  {8, 0, 0, 0, 0, 1, 0, -1},
        {9, 0, 0, 0, 0, 0, 1, -1}, {10, 0, 0, 0, 0, 0, 0, -1}, {-1, 0, 0, 0, 0, 0, 0, -1},
    };
    for (const TypeCase& c : cases) {
        SCOPED_TRACE(c.type);
        endService();
        service = sp<android::VeloraManagerService>::make();
        service->registerClient(nullptr, c.type, 1000);
        const auto state = [&] {
            return std::vector<int64_t>{key("DCCP"), key("DCDV"), service->hasMulitchannelDecDV(),
                                        key("DCOC"), key("GDEA"), key("SPAA"),
                                        key("LCTP")};
        };
        EXPECT_THAT(state(), ElementsAre(c.cp, c.dv, c.multichannel, c.channels, c.game,
                                         c.spatializer, c.codec));
        service->unregisterClient(nullptr, c.type, 1000);
        EXPECT_THAT(state(), ElementsAre(0, 0, 0, 0, 0, 0, c.codec));
    }
}

TEST_F(VeloraManagerServiceTest, ClientsCollideWhenUidAndTypeHaveTheSameSum) {
    const auto first = enter(2, 10);
    service->registerClient(nullptr, 1, 11);
    EXPECT_EQ(log.count("W VeloraManagerService: register uid already existing 0xc"), 1U);
    EXPECT_THAT(first->take(1), ElementsAre(kNotice));  // the notice goes out all the same
    EXPECT_FALSE(service->hasDecCP());
    EXPECT_EQ(key("LCTP"), 1);
    service->registerClient(nullptr, 9, 3);  // a duplicate still sets its flag
    EXPECT_EQ(key("SPAA"), 1);

    service->registerClient(nullptr, 6, 0xfffffffe);  // the sum wraps: key 4
    service->registerClient(nullptr, 1, 3);
    EXPECT_EQ(log.count("W VeloraManagerService: register uid already existing 0x4"), 1U);
    service->unregisterClient(nullptr, 3, 1);  // known by the sum, gone with the type it came with
    EXPECT_FALSE(service->hasDecCP());
    service->unregisterClient(nullptr, 3, 1);
    EXPECT_EQ(
        log.count("E VeloraManagerService: unregisterClient() uid 0x4 does not exist in Velora "
                  "Server"),
        1U);
}

TEST_F(VeloraManagerServiceTest, OutputChannelsAreRecountedWhenAMultichannelClientLeaves) {
    service->registerClient(nullptr, 5, 100);
    service->registerClient(nullptr, 3, 200);
    EXPECT_EQ(key("DCOC"), 12);
    service->unregisterClient(nullptr, 3, 200);
    EXPECT_EQ(key("DCOC"), 0);  // the one of 12 channels that stays no longer counts
    service->registerClient(nullptr, 4, 300);
    service->registerClient(nullptr, 3, 400);
    EXPECT_EQ(key("DCOC"), 8);
    service->registerClient(nullptr, 4, 200);
    service->unregisterClient(nullptr, 4, 300);
    EXPECT_EQ(key("DCOC"), 8);  // the largest of those that stay, whatever their order
    service->unregisterClient(nullptr, 4, 200);
    EXPECT_EQ(key("DCOC"), 6);
}

TEST_F(VeloraManagerServiceTest, ASpatializerHidesTheMultichannelDecoders) {
    service->registerClient(nullptr, 4, 1);
    EXPECT_TRUE(service->hasDecDV());
    service->registerClient(nullptr, 9, 100);
    EXPECT_FALSE(service->hasDecDV());
    EXPECT_TRUE(service->hasMulitchannelDecDV());
    service->registerClient(nullptr, 2, 200);
    EXPECT_TRUE(service->hasDecDV());
    service->registerClient(nullptr, 8, 300);
    service->registerClient(nullptr, 8, 400);
    service->unregisterClient(nullptr, 8, 300);
    EXPECT_EQ(key("GDEA"), 1);
    service->registerClient(nullptr, 9, 500);
    service->unregisterClient(nullptr, 9, 500);
    EXPECT_EQ(key("SPAA"), 0);  // though the first one stays
}

TEST_F(VeloraManagerServiceTest, ADeadClientLeavesWithItsCounterAndNothingElse) {
    const auto witness = enter(0, 1);
    const auto dying = enter(4, 50);
    const auto game = enter(8, 60);
    witness->take(2);
    dying->take(1);
    dying->onDied();
    game->onDied();
    EXPECT_EQ(log.count("E VeloraManagerService: binderDied : client uid 54"), 1U);
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
    EXPECT_EQ(log.count("E VeloraManagerService: binderDied ..."), 0U);
    const auto second = enter(1, 10);
    first->kept->serviceDied(0, nullptr);
    EXPECT_TRUE(service->hasDecCP());
    second->onDied();
    EXPECT_FALSE(service->hasDecCP());
    service.clear();
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
    service->registerClient(nullptr, 0, 150);
    for (size_t i = 0; i < clients.size(); ++i) clients[i]->take(3 - i);  // all notices are out
    order.clear();
    clients[1]->unreachable = true;
    Bytes data{1, 2, 3};
    service->doOnSfxParamUpdate(data.data(), 3);
    EXPECT_THAT(order, ElementsAre(100, 200, 300));
    EXPECT_EQ(log.count("E VeloraManagerService: Call client failed on 100"), 1U);
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
        {{command(5)}, 4, {}},
        {{command(12)}, 4, {}},
        {{command(14)}, 4, {}},
        {{3}, 4, {}},  // the number's bytes the other way round
        {{command(3) | 1}, 4, {}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ask(c.request, c.room), c.answer) << testing::PrintToString(c.request);
    }
    EXPECT_EQ(log.count("E VeloraManagerService: packAndReceiveParam : Invalid output length, not "
                        "enough buffer!"),
              2U);
    EXPECT_EQ(log.count("E VeloraManagerService: packAndReceiveParam : Invalid input length!"), 0U);
    EXPECT_EQ(askBytes({0, 0}, 4), std::vector{1});  // too short, answered from zeros
    EXPECT_EQ(askBytes({}, 4), std::vector{1});
    EXPECT_EQ(log.count("E VeloraManagerService: packAndReceiveParam : Invalid input length!"), 2U);
    EXPECT_EQ(service->getSfxParam(nullptr, 4, nullptr, 4), 0);
}

TEST_F(VeloraManagerServiceTest, DeviceNamesFillTheBufferWithBlanksBetweenAndBehind) {
    service->registerClient(nullptr, 0, 1);
    const std::string names = "default_hdmi hdmi_soundbar ";
    const int length = service->getAvailableTuningDevicesLen(1);
    EXPECT_EQ(length, static_cast<int>(names.size()));
    for (const int room : {length, length + 5}) {
        std::string buffer(40, '#');
        service->getAvailableTuningDevices(1, buffer.data(), room);
        EXPECT_EQ(buffer, names + std::string(static_cast<size_t>(room - length), ' ') +
                              std::string(static_cast<size_t>(40 - room), '#'));
    }
    std::string buffer(40, '#');
    for (const int room : {length - 1, 0, -1}) {
        service->getAvailableTuningDevices(1, buffer.data(), room);
    }
    service->getAvailableTuningDevices(1, nullptr, 100);
    for (const int port : {7, -1}) {
        service->getAvailableTuningDevices(port, buffer.data(), 20);
        EXPECT_EQ(service->getSelectedTuningDevice(port), "");
        service->setSelectedTuningDevice(port, buffer.data(), 4);
        EXPECT_EQ(service->getAvailableTuningDevicesLen(port), 0);
    }
    EXPECT_EQ(buffer, std::string(40, '#'));
    EXPECT_EQ(log.count("E VeloraManagerService: getAvailableTuningDevices not enough buffer for "
                        "transferring device name lists for port 1"),
              4U);
    for (const char* name :
         {"getAvailableTuningDevices", "getSelectedTuningDevice", "setSelectedTuningDevice"}) {
        EXPECT_EQ(
            log.count(std::string("E VeloraManagerService: ") + name + " invalid port number, 7"),
            1U);
    }
    EXPECT_EQ(service->getAvailableTuningDevicesLen(6), 0);
    EXPECT_EQ(service->getSelectedTuningDevice(6), "");
}

TEST_F(VeloraManagerServiceTest, NamesAreAskedForUpToTheCountIncluded) {
    service->registerClient(nullptr, 0, 1);
    EXPECT_EQ(service->getProfileName(4), "Mobility");
    EXPECT_EQ(service->getIeqPresetName(3), "warm");
    EXPECT_EQ(log.count("E ..."), 0U);
    EXPECT_EQ(service->getProfileName(6) + service->getProfileName(-1) +
                  service->getIeqPresetName(4) + service->getIeqPresetName(5) +
                  service->getIeqPresetName(-1),
              "");
    EXPECT_EQ(log.count("E ..."), 0U);
    EXPECT_EQ(service->getProfileName(5), "");
    EXPECT_EQ(log.count("E SndManager: Invalid Profile Id!"), 1U);
}

TEST_F(VeloraManagerServiceTest, TheFormatVersionIsThreeNumbersBelowAThousand) {
    const std::string xml = contentsOf(sourceFile("data/minimal.xml"));
    const auto place = xml.find("<format_version");
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
        install(std::string(xml).replace(place, xml.find("/>", place) - place,
                                         std::string("<format_version ") + version));
        restart();
        EXPECT_EQ(key("DTFV"), number) << version;
    }
    EXPECT_EQ(log.count("E VeloraManagerService: XML version 2.0.0.1 is not in "
                        "Major.Minor.Maintain format!"),
              1U);
    EXPECT_EQ(log.count("E VeloraManagerService: XML version 1.1000.0 is invalid!\n"), 1U);
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
    EXPECT_EQ(key("AGSG"), -24);
    EXPECT_EQ(key("CHCT"), 2);
    EXPECT_EQ(key("NONE"), -1);
    EXPECT_EQ(key("RLTF"), -1);
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
