#include "store/Provider.h"
#include "tests/service/ServiceFixture.h"

#include <thread>

#include <velora/SfxParamStore.h>

namespace velora::test {
namespace {

using enum Command;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kMaxQueued = android::VeloraManagerService::kMaxQueuedRequests;

/// What is stored now: whether the effect is on, the profile, and the amount of 114.
std::string stored() {
    Provider provider;
    provider.init();
    const int amount = provider.loadProfile(0)->get(REVERB_SUPPRESSION_AMOUNT).front();
    return (provider.isSfxOn() ? "on, profile " : "off, profile ") +
           std::to_string(provider.getSelectedProfile()) + ", amount " + std::to_string(amount);
}

/// Keeps the looper busy with the update of a request until `release`, or until it is destroyed.
class BusyLooper {
public:
    explicit BusyLooper(RecordingClient& client) {
        client.onUpdate = [this](const Bytes& update) {
            if (update != request) return;
            mBegun.set_value();
            mRelease.get_future().wait();
        };
    }
    void waitForIt() { mBegun.get_future().wait_for(kPatience); }
    void release() { mRelease.set_value(); }

    /// An unknown command, which changes nothing.
    const Bytes request = bytesOf(words(Command{99}, {1, 2, 3}));

private:
    std::promise<void> mBegun;
    std::promise<void> mRelease;
};

class EventHandlerTest : public ServiceFixture {
protected:
    /// The switch, the selected profile, and profile 2: its amount of 106, that on the headphone.
    std::string state() {
        return (ask(SWITCH_EFFECT)[0] != 0 ? "on, profile " : "off, profile ") +
               std::to_string(ask(SELECTED_PROFILE)[0]) + ", amounts " +
               std::to_string(parameter(2, 106)[0]) + " " +
               std::to_string(parameter(2, PORT_HEADPHONE, 106)[0]) +
               (ask(IS_PROFILE_MODIFIED, {2})[0] != 0 ? " modified" : "");
    }
};

// Every command, followed to the context, the clients, and the state after a restart. Incomplete
// and unknown commands change nothing, but the clients are notified all the same.
TEST_F(EventHandlerTest, CommandsReachContextStoreAndClients) {
    struct Case {
        Integers request;
        Integers notified = {};  ///< if other than the request
        std::string state;
        size_t missing = 0;  ///< bytes that are cut off at the end
    };
    const std::vector<Case> cases{
        {.request = words(SWITCH_EFFECT, {9, -5}),
         .notified = words(SWITCH_EFFECT, {-5, -5}),
         .state = "off, profile 0, amounts 12 6"},
        {.request = words(SWITCH_EFFECT, {9, 3}),
         .notified = words(SWITCH_EFFECT, {3, 3}),
         .state = "on, profile 0, amounts 12 6"},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106, 99}),
         .state = "on, profile 0, amounts 16 16 modified"},
        {.request = words(PROFILE_PORT_PARAMETER, {9, 2, PORT_HEADPHONE, 106, 5}),
         .state = "on, profile 0, amounts 16 5 modified"},
        {.request = words(PROFILE_PORT_PARAMETER, {9, 2, 7, 106, 1}),
         .state = "on, profile 0, amounts 16 5 modified"},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106}),
         .state = "on, profile 0, amounts 16 5 modified"},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106, 3}),
         .state = "on, profile 0, amounts 16 5 modified",
         .missing = 1},
        {.request = words(PROFILE_PARAMETER, {9, 2, 106, 3, 4}),
         .state = "on, profile 0, amounts 3 3 modified",
         .missing = 2},
        {.request = words(SELECTED_PROFILE, {9, 2}),
         .notified = words(SELECTED_PROFILE, {2, 2}),
         .state = "on, profile 2, amounts 3 3 modified"},
        {.request = words(SELECTED_PROFILE, {9, 5}),
         .notified = words(SELECTED_PROFILE, {5, 5}),
         .state = "on, profile 2, amounts 3 3 modified"},
        {.request = {0x0a, 9, 1}, .state = "on, profile 2, amounts 3 3 modified"},
        {.request = {}, .state = "on, profile 2, amounts 3 3 modified"},
        {.request = words(RESET_PROFILE, {9, 2}),
         .notified = words(RESET_PROFILE, {2, 2}),
         .state = "on, profile 2, amounts 12 6"},
    };
    auto client = enter(0, 7);
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.request));
        auto request = bytesOf(c.request);
        request.resize(request.size() - c.missing);
        EXPECT_EQ(setBytes(request), 0);
        EXPECT_THAT(client->take(1),
                    ElementsAre(c.notified.empty() ? request : bytesOf(c.notified)));
        EXPECT_EQ(state(), c.state);
        client = restart();
        EXPECT_EQ(state(), c.state) << "after a restart";
    }
}

TEST_F(EventHandlerTest, WhatIsSetReachesTheEffectBeforeTheClients) {
    const auto client = enter(0, 1);
    bool committed = false;
    SfxParamStore::getInstance().setListener([&] { committed = true; });
    client->onUpdate = [&](const Bytes&) { EXPECT_TRUE(committed); };
    EXPECT_EQ(set(PROFILE_PORT_PARAMETER, {0, 0, 107, 15}), 0);
    client->take(1);
    SfxParamStore::getInstance().setListener(nullptr);
}

TEST_F(EventHandlerTest, SwitchAndProfileAreStoredAtOnceSettingsWhenAPlainClientUnregisters) {
    const auto client = enter(0, 1);
    service->registerClient(nullptr, 1, 50);
    set(SWITCH_EFFECT, {0});
    set(SELECTED_PROFILE, {1});
    set(PROFILE_PARAMETER, {0, 114, 7});
    client->take(4);
    service->unregisterClient(nullptr, 1, 50);  // a decoder
    EXPECT_EQ(stored(), "off, profile 1, amount 2");
    service->unregisterClient(nullptr, 0, 1);
    EXPECT_EQ(stored(), "off, profile 1, amount 7");
}

TEST_F(EventHandlerTest, RequestsWaitInOrderUpToALimit) {
    const auto client = enter(0, 7);
    BusyLooper busy(*client);
    std::vector<Bytes> sent{busy.request};
    EXPECT_EQ(setBytes(busy.request), 0);
    busy.waitForIt();
    for (int i = 0; i < kMaxQueued; ++i) {
        sent.push_back(bytesOf(words(PROFILE_PARAMETER, {0, 0, 114, i % 10})));
        ASSERT_EQ(setBytes(sent.back()), 0);
    }
    for (int i = 0; i < 9; ++i) EXPECT_EQ(set(PROFILE_COUNT, {0}), -12);
    char device[] = "usb_dac";
    service->setSelectedTuningDevice(PORT_USB, device, 7);
    EXPECT_EQ(log.count("E VeloraManagerService: setSelectedTuningDevice: the request ..."), 1U);

    busy.release();
    std::vector<Bytes> notified;
    while (notified.size() < sent.size()) {
        auto updates = client->take(1);
        ASSERT_FALSE(updates.empty());
        std::move(updates.begin(), updates.end(), std::back_inserter(notified));
    }
    EXPECT_EQ(notified, sent);
    for (int i = 0; i < kMaxQueued; ++i) ASSERT_EQ(set(PROFILE_COUNT, {0}), 0) << "all are done";
}

TEST_F(EventHandlerTest, ShutdownDropsWhatWaitsAndASecondOneWaitsForTheFirst) {
    const auto client = enter(0, 7);
    set(PROFILE_PARAMETER, {0, 114, 5});
    BusyLooper busy(*client);
    setBytes(busy.request);
    busy.waitForIt();
    for (int i = 0; i < kMaxQueued; ++i) set(PROFILE_PARAMETER, {0, 114, 7});
    auto first = std::async([&] { return service->shutdown(); });
    EXPECT_TRUE(happens([&] { return set(PROFILE_COUNT, {0}) == -19; }));
    auto second = std::async([&] { return service->shutdown(); });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    busy.release();
    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
    EXPECT_EQ(stored(), "on, profile 0, amount 5");
}

TEST_F(EventHandlerTest, AfterShutdownNothingIsAcceptedOrSaved) {
    enter(0, 7);
    EXPECT_TRUE(service->shutdown());
    for (int i = 0; i <= kMaxQueued; ++i) ASSERT_EQ(set(PROFILE_COUNT, {0}), -19);
    manager().getSndContext()->setProfileParameter(0, REVERB_SUPPRESSION_AMOUNT, {9});
    EXPECT_TRUE(service->shutdown());
    EXPECT_EQ(stored(), "on, profile 0, amount 2");
}

TEST_F(EventHandlerTest, AServiceThatEndsOnItsLooperThreadDropsWhatWaits) {
    const auto client = enter(0, 7);
    BusyLooper busy(*client);
    setBytes(busy.request);
    busy.waitForIt();
    set(PROFILE_PARAMETER, {0, 114, 7});
    service.clear();  // the looper thread holds the last reference now
    busy.release();
    restart();
    EXPECT_THAT(parameter(0, 114), ElementsAre(2));
}

TEST_F(EventHandlerTest, AClientMayReleaseTheServiceFromItsUpdate) {
    installOem(extra);
    const std::function<void()> causes[] = {[&] {
                                                set(PROFILE_PARAMETER, {0, 114, 5});
                                            },
                                            [&] { reload(); }};
    for (const auto& cause : causes) {
        const auto client = restart();
        client->onUpdate = [this](const Bytes&) { service.clear(); };
        cause();
        EXPECT_EQ(client->take(1).size(), 1u);
    }
    restart();
    EXPECT_THAT(parameter(0, 114), ElementsAre(5));
}

TEST_F(EventHandlerTest, AClientThatDiesDuringItsUpdateIsRemoved) {
    const auto witness = enter(0, 1);
    const auto dying = enter(1, 50);
    std::thread death;
    dying->onUpdate = [&](const Bytes&) {
        if (!death.joinable()) death = std::thread([&] { dying->onDied(); });
    };
    set(SWITCH_EFFECT, {1});
    witness->take(2);
    dying->take(1);
    death.join();
    EXPECT_FALSE(service->hasDecCP());
    set(SWITCH_EFFECT, {0});
    witness->take(1);
    EXPECT_THAT(dying->take(0), IsEmpty());
}

}  // namespace
}  // namespace velora::test
