#include "store/Provider.h"
#include "tests/service/ServiceFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr int kMaxQueued = android::VeloraManagerService::kMaxQueuedRequests;

/// What is stored now: the switch, the profile, and the amount of 114.
std::string stored() {
    Provider provider;
    provider.init();
    const int amount = provider.loadProfile(0)->firstOf(REVERB_SUPPRESSION_AMOUNT, -1);
    return (provider.isSfxOn() ? "on " : "off ") + std::to_string(provider.getSelectedProfile()) +
           ", " + std::to_string(amount);
}

class EventHandlerTest : public ServiceFixture {
protected:
    /// The switch, the selected profile, and of profile 2 the amounts of 106, whole and headphone,
    /// and whether it is modified.
    std::string state() {
        return (ask(SWITCH_EFFECT)[0] != 0 ? "on " : "off ") +
               std::to_string(ask(SELECTED_PROFILE)[0]) + ", " +
               std::to_string(parameter(2, 106)[0]) + " " +
               std::to_string(parameter(2, PORT_HEADPHONE, 106)[0]) +
               (ask(IS_PROFILE_MODIFIED, {2})[0] != 0 ? " *" : "");
    }

    /// Sends a request without effect and waits until its update has come: the looper is then busy
    /// with it until `release` is set or destroyed.
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
        std::string state;
        int32_t result = 9;  ///< the result word in the update; 9 is sent
        size_t missing = 0;  ///< bytes that are cut off at the end
    };
    const std::vector<Case> cases{
        {.request = words(SWITCH_EFFECT, {9, -5}), .state = "off 0, 12 6", .result = -5},
        {.request = words(SWITCH_EFFECT, {9, 3}), .state = "on 0, 12 6", .result = 3},
        {.request = words(SWITCH_EFFECT, {9, 0}), .state = "on 0, 12 6", .missing = 1},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106, 99}), .state = "on 0, 16 16 *"},
        {.request = words(PROFILE_PORT_PARAMETER, {9, 2, 3, 106, 5}), .state = "on 0, 16 5 *"},
        {.request = words(PROFILE_PORT_PARAMETER, {9, 2, 7, 106, 1}), .state = "on 0, 16 5 *"},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106}), .state = "on 0, 16 5 *"},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106, 3}),
         .state = "on 0, 16 5 *",
         .missing = 1},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106, 3, 4}),
         .state = "on 0, 3 3 *",
         .missing = 2},
        {.request = words(SELECTED_PROFILE, {9, 2}), .state = "on 2, 3 3 *", .result = 2},
        {.request = words(SELECTED_PROFILE, {9, 5}), .state = "on 2, 3 3 *", .result = 5},
        {.request = {10, 9, 1}, .state = "on 2, 3 3 *"},  // the command's bytes the other way round
        {.request = words(PROFILE_COUNT, {9}), .state = "on 2, 3 3 *"},
        {.request = words(RESET_PROFILE, {9, 2}), .state = "on 2, 12 6", .result = 2},
    };
    auto client = enter(0, 7);
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.request));
        Integers notified = c.request;
        notified[SetRequest::kResult] = c.result;
        EXPECT_EQ(setBytes(bytesOf(c.request, c.missing)), 0);
        EXPECT_THAT(client->take(1), ElementsAre(bytesOf(notified, c.missing)));
        EXPECT_EQ(state(), c.state);
        client = restart();
        EXPECT_EQ(state(), c.state) << "after a restart";
    }
}

TEST_F(EventHandlerTest, SwitchAndProfileAreStoredAtOnceSettingsWhenAPlainClientUnregisters) {
    const auto client = enter(0, 1);
    service->registerClient(nullptr, 1, 50);
    set(SWITCH_EFFECT, {0});
    set(SELECTED_PROFILE, {1});
    set(PROFILE_PARAMETER, {0, 114, 7});
    client->take(4);
    service->unregisterClient(nullptr, 1, 50);  // a decoder
    EXPECT_EQ(stored(), "off 1, 2");
    service->unregisterClient(nullptr, 0, 1);
    EXPECT_EQ(stored(), "off 1, 7");
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
    EXPECT_EQ(client->take(sent.size()), sent);
    for (int i = 0; i < kMaxQueued; ++i) ASSERT_EQ(set(PROFILE_COUNT, {0}), 0) << "none waits";
}

TEST_F(EventHandlerTest, ShutdownDropsWhatWaitsAndConcurrentCallersWaitForIt) {
    keepBusy(*enter(0, 7));
    for (int i = 0; i < kMaxQueued; ++i) set(PROFILE_PARAMETER, {0, 114, 7});
    std::future<bool> calls[2];
    for (auto& call : calls) call = std::async([&] { return service->shutdown(); });
    for (auto& call : calls) {
        EXPECT_EQ(call.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    }
    release.set_value();
    for (auto& call : calls) EXPECT_TRUE(call.get());
    for (int i = 0; i <= kMaxQueued; ++i) ASSERT_EQ(set(PROFILE_COUNT, {0}), -19);
    manager().getSndContext()->setProfileParameter(0, REVERB_SUPPRESSION_AMOUNT, {9});
    EXPECT_TRUE(service->shutdown());
    EXPECT_EQ(stored(), "on 0, 2") << "neither what waited nor what came later";
}

TEST_F(EventHandlerTest, AClientMayReleaseTheServiceFromItsUpdate) {
    installOem(extra);
    for (const bool reloads : {false, true}) {
        const auto client = restart();
        client->onUpdate = [this](const Bytes&) { service.clear(); };
        reloads ? reload() : static_cast<void>(set(PROFILE_PARAMETER, {0, 114, 5}));
        EXPECT_THAT(client->take(1), SizeIs(1));
    }
    restart();
    EXPECT_THAT(parameter(0, 114), ElementsAre(5));
}

}  // namespace
}  // namespace velora::test
