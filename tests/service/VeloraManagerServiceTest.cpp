#include "tests/service/ServiceFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Bytes kNotice = bytesOf({-1, 0});

class VeloraManagerServiceTest : public ServiceFixture {
protected:
    std::vector<int32_t> ask(Bytes request, uint32_t room) {
        std::vector<int32_t> out(16, 77);
        EXPECT_EQ(service->getSfxParam(request.data(), static_cast<uint32_t>(request.size()),
                                       out.data(), room),
                  0);
        while (!out.empty() && out.back() == 77) out.pop_back();
        return out;
    }
};

TEST_F(VeloraManagerServiceTest, AnswersNeutrallyUntilARegistrationInitialises) {
    fake.initResult = -19;
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
    service->unregisterClient(nullptr, 0, 1);  // nothing to save yet
    endService();
    EXPECT_THAT(fake.takeCalls(), ElementsAre("init", "init", "~"));  // nor at the end

    service = sp<android::VeloraManagerService>::make();
    service->registerClient(nullptr, 0, 1);
    fake.takeCalls();
    fake.initResult = 0;
    service->registerClient(nullptr, 0, 3);
    service->registerClient(nullptr, 0, 4);
    EXPECT_TRUE(service->getSfxEnabled());
    EXPECT_THAT(fake.takeCalls(), ElementsAre("init"));
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
        fake.takeCalls();
        service->unregisterClient(nullptr, c.type, 1000);
        EXPECT_THAT(state(), ElementsAre(0, 0, 0, 0, 0, 0, c.codec));
        const bool plain = c.codec == -1 && c.game == 0 && c.spatializer == 0;
        EXPECT_EQ(fake.takeCalls().size(), plain ? 1U : 0U);  // only a plain client's leaving saves
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
    EXPECT_EQ(fake.countOf("save all"), 0U);

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
    service->registerClient(nullptr, 0, 1);
    fake.parameters[109] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    fake.parameters[106] = {16};
    fake.selectedProfile = 2;
    fake.mono = true;
    struct Case {
        std::vector<int32_t> request;
        uint32_t room;
        std::vector<int32_t> answer;
    } const cases[] = {
        {{command(0)}, 4, {1}},
        {{command(1), 109, 2}, 40, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
        {{command(1), 109, 0}, 36, {}},
        {{command(1), 104, 0}, 0, {}},  // no values: nothing to write
        {{command(2), 106, 0x77777723}, 4, {16}},
        {{command(3)}, 4, {3}},
        {{command(4)}, 4, {4}},
        {{command(10)}, 4, {2}},
        {{command(10)}, 3, {}},
        {{command(11), 1}, 4, {1}},
        {{command(11), 2}, 4, {0}},
        {{command(13)}, 4, {1}},
        {{command(5)}, 4, {}},
        {{command(12)}, 4, {}},
        {{command(14)}, 4, {}},
        {{3}, 4, {}},  // the number's bytes the other way round
        {{command(3) | 1}, 4, {}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ask(bytesOf(c.request), c.room), c.answer) << testing::PrintToString(c.request);
    }
    EXPECT_EQ(fake.countOf("get 2/3"), 1U);
    EXPECT_EQ(fake.countOf("get 2"), 1U);
    EXPECT_EQ(log.count("E VeloraManagerService: packAndReceiveParam : Invalid output length, not "
                        "enough buffer!"),
              2U);
    EXPECT_EQ(log.count("E VeloraManagerService: packAndReceiveParam : Invalid input length!"), 0U);
    EXPECT_EQ(ask({0, 0}, 4), std::vector{1});  // too short, answered from zeros
    EXPECT_EQ(ask({}, 4), std::vector{1});
    EXPECT_EQ(log.count("E VeloraManagerService: packAndReceiveParam : Invalid input length!"), 2U);
    EXPECT_EQ(service->getSfxParam(nullptr, 4, nullptr, 4), 0);
}

TEST_F(VeloraManagerServiceTest, DeviceNamesFillTheBufferWithBlanksBetweenAndBehind) {
    service->registerClient(nullptr, 0, 1);
    std::string buffer(18, '#');
    service->getAvailableTuningDevices(1, buffer.data(), 16);
    EXPECT_EQ(buffer, "default_hdmi tv ##");
    EXPECT_EQ(fake.countOf("devices 1"), 1U);
    buffer.assign(20, '#');
    service->getAvailableTuningDevices(1, buffer.data(), 20);
    EXPECT_EQ(buffer, "default_hdmi tv     ");
    buffer.assign(20, '#');
    for (const int length : {15, 0, -1}) {
        service->getAvailableTuningDevices(1, buffer.data(), length);
    }
    service->getAvailableTuningDevices(1, nullptr, 100);
    for (const int port : {7, -1}) {
        service->getAvailableTuningDevices(port, buffer.data(), 20);
        EXPECT_EQ(service->getSelectedTuningDevice(port), "");
        service->setSelectedTuningDevice(port, buffer.data(), 4);
        EXPECT_EQ(service->getAvailableTuningDevicesLen(port), 0);
    }
    EXPECT_EQ(buffer, std::string(20, '#'));
    EXPECT_EQ(log.count("E VeloraManagerService: getAvailableTuningDevices not enough buffer for "
                        "transferring device name lists for port 1"),
              4U);
    for (const char* name :
         {"getAvailableTuningDevices", "getSelectedTuningDevice", "setSelectedTuningDevice"}) {
        EXPECT_EQ(
            log.count(std::string("E VeloraManagerService: ") + name + " invalid port number, 7"),
            1U);
    }
    EXPECT_EQ(service->getAvailableTuningDevicesLen(6), 106);
    EXPECT_EQ(service->getSelectedTuningDevice(6), "port 6");
}

TEST_F(VeloraManagerServiceTest, NamesAreAskedForUpToTheCountIncluded) {
    service->registerClient(nullptr, 0, 1);
    EXPECT_EQ(service->getProfileName(3), "profile 3");
    EXPECT_EQ(service->getIeqPresetName(4), "preset 4");
    EXPECT_EQ(service->getProfileName(4) + service->getProfileName(-1) +
                  service->getIeqPresetName(5) + service->getIeqPresetName(-1),
              "");
    EXPECT_EQ(log.count("E ..."), 0U);
}

TEST_F(VeloraManagerServiceTest, TheFormatVersionIsThreeNumbersBelowAThousand) {
    service->registerClient(nullptr, 0, 1);
    const std::pair<const char*, int64_t> cases[] = {
        {"2.0.1", 2000001},
        {"1.2.3", 1002003},
        {"999.999.999", 999999999},
        {"..", 0},
        {"3x.4.", 3004000},
        {"2.0", -22},
        {"2.0.0.1", -22},
        {"", -22},
        {"1.1000.0", -22},
        {"1.-1.0", -22},
        {"1.0.99999999999999999999", -22},
    };
    for (const auto& [text, number] : cases) {
        fake.version = text;
        EXPECT_EQ(key("DTFV"), number) << text;
    }
    EXPECT_EQ(log.count("E VeloraManagerService: XML version 2.0 is not in Major.Minor.Maintain "
                        "format!"),
              1U);
    EXPECT_EQ(log.count("E VeloraManagerService: XML version 1.1000.0 is invalid!\n"), 1U);
}

TEST_F(VeloraManagerServiceTest, TheDialogEnhancerAmountNeedsBothParameters) {
    service->registerClient(nullptr, 0, 1);
    fake.selectedProfile = 1;
    EXPECT_EQ(key("DEAM"), -1);
    fake.parameters[105] = {0};
    EXPECT_EQ(key("DEAM"), -1);
    fake.parameters[108] = {9, 4};
    EXPECT_EQ(key("DEAM"), 0);
    fake.parameters[105] = {2};
    EXPECT_EQ(key("DEAM"), 9);
    EXPECT_EQ(fake.countOf("get 1/0"), 8U);
    fake.selectedProfile = 2;
    EXPECT_EQ(key("DEAM"), 9);
    EXPECT_EQ(fake.countOf("get 2/0"), 2U);  // of the selected profile on the internal speaker
}

TEST_F(VeloraManagerServiceTest, IntegersAreReadByTheirKeys) {
    EXPECT_EQ(key("LCTM"), -1000);
    EXPECT_EQ(key("SPKP"), 0);
    service->registerClient(nullptr, 0, 1);
    EXPECT_EQ(key("ADEV"), 2);
    EXPECT_GE(key("LCTM"), 0);
    EXPECT_EQ(key("AGSG"), -7);
    EXPECT_EQ(key("CHCT"), 2);
    const auto switches = [&] {
        return std::vector{key("APMO"), key("SFXO"), key("SPKM"), key("SPKP")};
    };
    EXPECT_THAT(switches(), ElementsAre(0, 1, 0, 0));
    for (auto* const one : {&fake.mobility, &fake.mono, &fake.portrait}) {
        *one = true;
        EXPECT_THAT(switches(), ElementsAre(fake.mobility, 1, fake.mono, fake.portrait));
        EXPECT_EQ(service->isMobilityProfileSelected(), fake.mobility);
        EXPECT_EQ(service->isMonoInternalSpeaker(), fake.mono);
        EXPECT_EQ(service->isSpeakerPortraitMode(), fake.portrait);
        *one = false;
    }
    EXPECT_EQ(key("NONE"), -1);
    EXPECT_EQ(key("RLTF"), -1);
}

TEST_F(VeloraManagerServiceTest, ReloadingTellsTheClientsOnlyWhenItSucceeded) {
    const auto client = enter(0, 1);
    service->setIntParam(android::fourCharacters("RLTX"), 1);
    fake.reloadResult = -2;
    service->setIntParam(android::fourCharacters("RLTF"), 1);
    EXPECT_THAT(client->take(0), IsEmpty());
    fake.reloadResult = 0;
    service->setIntParam(android::fourCharacters("RLTF"), 0);
    EXPECT_THAT(client->take(1), ElementsAre(Bytes{}));
}

TEST_F(VeloraManagerServiceTest, RawParametersGoToTheStore) {
    const int32_t values[] = {3, 4};
    EXPECT_EQ(service->setParam(0x8, 42, values, 2), 0);
    EXPECT_EQ(service->commitChange(), 0);
    SfxParamStore::Caches caches;
    int count = 0;
    EXPECT_EQ(service->getStoredParams(&caches, true, &count), 0);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(caches.valueAt(0)->params().at(42), (std::vector<int32_t>{3, 4}));
}

}  // namespace
}  // namespace velora::test
