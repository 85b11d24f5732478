#include "store/Provider.h"
#include "tests/faults/Disk.h"
#include "tests/service/ServiceFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr int kMaxQueued = android::VeloraManagerService::kMaxQueuedRequests;

/// What the commands change. The parameters and the modification are those of profile 2.
struct State {
    int on = 1;
    int selectedProfile = 0;
    int amount = 12;  ///< of parameter 106
    int headphoneAmount = 6;
    int isModified = 0;
};

class EventHandlerTest : public ServiceFixture {
protected:
    void expectState(const State& expected) {
        EXPECT_THAT(ask(SWITCH_EFFECT), ElementsAre(expected.on));
        EXPECT_THAT(ask(SELECTED_PROFILE), ElementsAre(expected.selectedProfile));
        EXPECT_THAT(parameter(2, 106), ElementsAre(expected.amount));
        EXPECT_THAT(parameter(2, PORT_HEADPHONE, 106), ElementsAre(expected.headphoneAmount));
        EXPECT_THAT(ask(IS_PROFILE_MODIFIED, {2}), ElementsAre(expected.isModified));
    }
    /// The value of parameter 114 of profile 0 in the store.
    static int storedAmount() {
        Provider provider;
        (void)provider.init();
        return provider.loadProfile(0)->firstOf(REVERB_SUPPRESSION_AMOUNT, -1);
    }

    /// Sends a request without effect and waits until its update has arrived. The looper is busy
    /// with that update until `release` is set or destroyed.
    void keepBusy(RecordingClient& client) {
        client.onUpdate = [&](const Bytes& update) {
            if (update != blocking) return;
            begun.set_value();
            release.get_future().wait();
        };
        EXPECT_EQ(setBytes(blocking), 0);
        EXPECT_EQ(begun.get_future().wait_for(kPatience), std::future_status::ready);
    }

    const Bytes blocking = bytesOf(words(Command{99}, {1, 2, 3}));
    std::promise<void> begun;
    std::promise<void> release;
};

// Every command, followed to the context, the clients, and the state after a restart. Incomplete
// and unknown commands change nothing, but the clients are notified all the same.
TEST_F(EventHandlerTest, CommandsReachContextStoreAndClients) {
    struct Case {
        Integers request;
        State state = {};
        int32_t result = 9;  ///< the result word in the update; 9 is sent
        size_t missing = 0;  ///< bytes that are cut off at the end
    };
    const State profileSet{.amount = 16, .headphoneAmount = 16, .isModified = 1};
    const State headphoneSet{.amount = 16, .headphoneAmount = 5, .isModified = 1};
    const State profileSetAgain{.amount = 3, .headphoneAmount = 3, .isModified = 1};
    const State profileSelected{
        .selectedProfile = 2, .amount = 3, .headphoneAmount = 3, .isModified = 1};
    const std::vector<Case> cases{
        {.request = words(SWITCH_EFFECT, {9, -5}), .state = {.on = 0}, .result = -5},
        {.request = words(SWITCH_EFFECT, {9, 3}), .result = 3},
        {.request = words(SWITCH_EFFECT, {9, 0}), .missing = 1},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106, 99}), .state = profileSet},
        {.request = words(PROFILE_PORT_PARAMETER, {9, 2, 3, 106, 5}), .state = headphoneSet},
        {.request = words(PROFILE_PORT_PARAMETER, {9, 2, 7, 106, 1}), .state = headphoneSet},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106}), .state = headphoneSet},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106, 3}), .state = headphoneSet, .missing = 1},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106, 3, 4}),
         .state = profileSetAgain,
         .missing = 2},
        {.request = words(SELECTED_PROFILE, {9, 2}), .state = profileSelected, .result = 2},
        {.request = words(SELECTED_PROFILE, {9, 5}), .state = profileSelected, .result = 5},
        {.request = {10, 9, 1}, .state = profileSelected},  // the command's bytes in reverse order
        {.request = words(PROFILE_COUNT, {9}), .state = profileSelected},
        {.request = words(RESET_PROFILE, {9, 2}), .state = {.selectedProfile = 2}, .result = 2},
    };
    auto client = enter(0, 7);
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.request));
        Integers notified = c.request;
        notified[SetRequest::kResult] = c.result;
        EXPECT_EQ(setBytes(bytesOf(c.request, c.missing)), 0);
        EXPECT_THAT(client->awaitUpdates(1), ElementsAre(bytesOf(notified, c.missing)));
        expectState(c.state);
        client = restart();
        expectState(c.state);
    }
}

TEST_F(EventHandlerTest, TheSwitchAndTheSelectedProfileAreStoredAtOnceIfTheyChange) {
    const auto client = enter(0, 7);
    set(SWITCH_EFFECT, {0});
    set(SELECTED_PROFILE, {1});
    client->awaitUpdates(2);
    Provider stored;
    EXPECT_FALSE(stored.isSfxOn());
    EXPECT_EQ(stored.getSelectedProfile(), 1);
    const Disk& disk = useFreshDisk(dir.path());
    enter(0, 1);
    set(SWITCH_EFFECT, {0});
    set(SELECTED_PROFILE, {1});
    set(RESET_PROFILE, {2});
    service->unregisterClient(nullptr, 0, 1);
    EXPECT_EQ(disk.writes(), 0U);
    EXPECT_EQ(disk.syncs(), 0U);
}

TEST_F(EventHandlerTest, WhatAClientSetIsStoredWhenAPlainClientHasUnregistered) {
    enter(0, 1);
    enter(1, 50);
    useFreshDisk(dir.path()).syncMs = 200;
    EXPECT_EQ(set(SWITCH_EFFECT, {0}), 0);  // which keeps the looper busy
    EXPECT_EQ(set(PROFILE_PARAMETER, {0, 114, 7}), 0);
    service->unregisterClient(nullptr, 1, 50);  // a decoder
    EXPECT_EQ(storedAmount(), 2);
    service->unregisterClient(nullptr, 0, 1);
    EXPECT_EQ(storedAmount(), 7);
}

TEST_F(EventHandlerTest, QueriesDoNotWaitForTheDisk) {
    const auto client = enter(0, 7);
    set(SWITCH_EFFECT, {0});
    client->awaitUpdates(1);
    Disk& disk = useFreshDisk(dir.path());
    disk.syncMs = 500;
    EXPECT_EQ(set(SWITCH_EFFECT, {1}), 0);
    while (ask(SWITCH_EFFECT) != Integers{1}) std::this_thread::yield();
    expectState({});
    EXPECT_EQ(service->getProfileName(0), "Dynamic");
    EXPECT_EQ(value("SFXO"), 1);
    EXPECT_EQ(disk.syncs(), 0U) << "the switch is not stored yet";
    EXPECT_THAT(client->awaitUpdates(1), SizeIs(1));
    EXPECT_EQ(disk.syncs(), 1U);
}

TEST_F(EventHandlerTest, QueriesDoNotWaitForAReload) {
    enter(0, 7);
    installOem(extra);
    std::future<Integers> answer;
    LogCapture::onMessage("Tell database to reload cached device tuning mappings.", [&] {
        answer = std::async([&] { return ask(SWITCH_EFFECT); });
        EXPECT_EQ(answer.wait_for(kPatience), std::future_status::ready);
    });
    reload();
    EXPECT_TRUE(answer.valid());
}

TEST_F(EventHandlerTest, RequestsWaitInOrderUpToALimit) {
    const auto client = enter(0, 7);
    keepBusy(*client);
    std::vector<Bytes> sent{blocking};
    for (int i = 0; i < kMaxQueued; ++i) {
        sent.push_back(bytesOf(words(PROFILE_PARAMETER, {0, 0, 114, i % 10})));
        ASSERT_EQ(setBytes(sent.back()), 0);
    }
    for (int i = 0; i < 9; ++i) EXPECT_EQ(set(PROFILE_COUNT, {0}), -12);
    char device[] = "usb_dac";
    service->setSelectedTuningDevice(PORT_USB, device, 7);
    EXPECT_EQ(log.count("E VeloraManagerService: setSelectedTuningDevice: the request ..."), 1U);
    release.set_value();
    EXPECT_EQ(client->awaitUpdates(sent.size()), sent);
    for (int i = 0; i < kMaxQueued; ++i) ASSERT_EQ(set(PROFILE_COUNT, {0}), 0) << "none waits";
}

TEST_F(EventHandlerTest, EveryShutdownWaitsForTheRequestThatIsExecutedAndDropsTheOthers) {
    keepBusy(*enter(0, 7));
    for (int i = 0; i < kMaxQueued; ++i) set(PROFILE_PARAMETER, {0, 114, 7});
    std::future<bool> calls[2];
    for (auto& call : calls) call = std::async([&] { return service->shutdown(); });
    for (auto& call : calls) {
        EXPECT_EQ(call.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    }
    release.set_value();
    for (auto& call : calls) EXPECT_TRUE(call.get());
    EXPECT_EQ(storedAmount(), 2);
    for (int i = 0; i <= kMaxQueued; ++i) ASSERT_EQ(set(PROFILE_COUNT, {0}), -19);
    manager().getSndContext()->setProfileParameter(0, REVERB_SUPPRESSION_AMOUNT, {9});
    EXPECT_TRUE(service->shutdown());
    EXPECT_EQ(storedAmount(), 2) << "the first one has saved";
}

TEST_F(EventHandlerTest, AClientMayReleaseTheServiceFromItsUpdate) {
    installOem(extra);
    for (const bool reloads : {false, true}) {
        const auto client = restart();
        client->onUpdate = [this](const Bytes&) { service.clear(); };
        reloads ? reload() : static_cast<void>(set(PROFILE_PARAMETER, {0, 114, 5}));
        EXPECT_THAT(client->awaitUpdates(1), SizeIs(1));
    }
    restart();
    EXPECT_THAT(parameter(0, 114), ElementsAre(5));
}

}  // namespace
}  // namespace velora::test
