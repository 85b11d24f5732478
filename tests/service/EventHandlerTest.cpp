#include "store/Provider.h"
#include "tests/service/ServiceFixture.h"

#include <future>

#include <velora/SfxParamStore.h>

namespace velora::test {
namespace {

using testing::ElementsAre;

constexpr int kMaxQueued = android::VeloraManagerService::kMaxQueuedRequests;

/// What is stored now: whether the effect is on, the profile, the amount of 114.
std::vector<int> stored() {
    Provider provider;
    provider.init();
    return {provider.isSfxOn(), provider.getSelectedProfile(),
            provider.loadProfile(0)->get(REVERB_SUPPRESSION_AMOUNT).front()};
}

using EventHandlerTest = ServiceFixture;

// Every command, followed to context, effect, clients, and the state after a restart. Short and odd
// buffers do nothing, or what their words that are there say, and reach the clients all the same.
TEST_F(EventHandlerTest, CommandsReachContextStoreAndClients) {
    struct Case {
        std::vector<int32_t> request;
        std::vector<int32_t> notified;  ///< if other than the request
        std::vector<int32_t> state;     ///< on, selected, 2 modified, its 106, on the headphone
        size_t cut = 0;                 ///< bytes that are missing at the end
    };
    const std::vector<Case> cases{
        {{command(0), 9, -5}, {command(0), -5, -5}, {0, 0, 0, 12, 6}},
        {{command(0), 9, 3}, {command(0), 3, 3}, {1, 0, 0, 12, 6}},
        {{command(1), 9, 2, 106, 99}, {}, {1, 0, 1, 16, 16}},
        {{command(2), 9, 2, 3, 106, 5}, {}, {1, 0, 1, 16, 5}},
        {{command(2), 9, 2, 7, 106, 1}, {}, {1, 0, 1, 16, 5}},
        {{command(1), 9, 2, 106}, {}, {1, 0, 1, 16, 5}},
        {{command(1), 9, 2, 106, 3}, {}, {1, 0, 1, 16, 5}, 1},
        {{command(1), 9, 2, 106, 3, 4}, {}, {1, 0, 1, 3, 3}, 2},
        {{command(10), 9, 2}, {command(10), 2, 2}, {1, 2, 1, 3, 3}},
        {{command(10), 9, 5}, {command(10), 5, 5}, {1, 2, 1, 3, 3}},
        {{10, 9, 1}, {}, {1, 2, 1, 3, 3}},  // the bytes the other way round
        {{command(3), 9, 2}, {}, {1, 2, 1, 3, 3}},
        {{}, {}, {1, 2, 1, 3, 3}},
        {{command(12), 9, 2}, {command(12), 2, 2}, {1, 2, 0, 12, 6}},
    };
    const auto state = [&] {
        return std::vector{ask({command(0)})[0], ask({command(10)})[0], ask({command(11), 2})[0],
                           parameter(2, 106)[0], parameter(2, 3, 106)[0]};
    };
    auto client = enter(0, 7);
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.request));
        auto request = bytesOf(c.request);
        request.resize(request.size() - c.cut);
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
    set({command(2), 0, 0, 0, 107, 15});
    client->take(1);
    SfxParamStore::getInstance().setListener(nullptr);
}

TEST_F(EventHandlerTest, WhatIsStoredWhen) {
    const auto client = enter(0, 1);
    service->registerClient(nullptr, 1, 50);
    set({command(0), 0, 0});
    set({command(10), 0, 1});
    set({command(1), 0, 0, 114, 7});
    client->take(4);
    service->unregisterClient(nullptr, 1, 50);  // a decoder
    EXPECT_THAT(stored(), ElementsAre(0, 1, 2));
    service->unregisterClient(nullptr, 0, 1);  // a plain client
    EXPECT_THAT(stored(), ElementsAre(0, 1, 7));
    set({command(1), 0, 0, 114, 5});
    while (parameter(0, 114).front() != 5) std::this_thread::yield();
    service->shutdown();
    EXPECT_THAT(stored(), ElementsAre(0, 1, 5));
    EXPECT_EQ(set({command(1), 0, 0, 114, 9}), -19);
    manager().getSndContext()->setProfileParameter(0, REVERB_SUPPRESSION_AMOUNT, {9});
    service->shutdown();
    EXPECT_THAT(stored(), ElementsAre(0, 1, 5)) << "saved once, at the first shutdown";
}

// The looper is kept busy by a client, so that requests wait.
TEST_F(EventHandlerTest, RequestsWaitInOrderUpToALimitAndEndWithTheService) {
    std::promise<void> busy[2];
    std::promise<void> go[2];
    const auto client = enter(0, 7);
    client->onUpdate = [&](const Bytes& bytes) {
        if (bytes.size() != 16) return;
        busy[bytes[12]].set_value();
        go[bytes[12]].get_future().wait();
    };
    std::vector<Bytes> posted;
    const auto post = [&](const std::vector<int32_t>& words) {
        posted.push_back(bytesOf(words));
        return setBytes(posted.back());
    };
    post({command(3), 0, 0, 0});
    busy[0].get_future().wait();
    for (int i = 0; i < kMaxQueued; ++i) ASSERT_EQ(post({command(1), 0, 0, 114, i % 10}), 0);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(set({command(3), 0, 0}), -12);
    char device[] = "usb_dac";
    service->setSelectedTuningDevice(5, device, 7);
    EXPECT_EQ(log.count("E VeloraManagerService: setSelectedTuningDevice too many ..."), 1U);
    go[0].set_value();
    std::vector<Bytes> notified;
    while (notified.size() < posted.size()) {
        for (auto& update : client->take(1)) notified.push_back(std::move(update));
    }
    EXPECT_EQ(notified, posted);
    EXPECT_THAT(parameter(0, 114), ElementsAre((kMaxQueued - 1) % 10));

    post({command(3), 0, 0, 1});
    busy[1].get_future().wait();
    for (int i = 0; i < kMaxQueued; ++i) ASSERT_EQ(set({command(1), 0, 0, 114, 7}), 0);
    service.clear();  // the looper thread holds the last reference now
    go[1].set_value();
    restart();
    EXPECT_THAT(parameter(0, 114), ElementsAre((kMaxQueued - 1) % 10));
}

TEST_F(EventHandlerTest, AClientMayDropTheLastReferenceFromItsUpdate) {
    installOem(contentsOf(sourceFile("data/kiv-extra.xml")));
    for (const bool reloads : {false, true}) {
        const auto client = restart();
        client->onUpdate = [this](const Bytes&) { service.clear(); };
        if (reloads) reload();
        if (!reloads) set({command(1), 0, 0, 114, 5});
        EXPECT_EQ(client->take(1).size(), 1u);
    }
    restart();
    EXPECT_THAT(parameter(0, 114), ElementsAre(5));
}

TEST_F(EventHandlerTest, AClientThatDiesWhileItIsToldIsGoneAfterwards) {
    const auto witness = enter(0, 1);
    const auto dying = enter(1, 50);
    std::thread death;
    dying->onUpdate = [&](const Bytes&) {
        if (!death.joinable()) death = std::thread([&] { dying->onDied(); });
    };
    set({command(0), 0, 1});
    witness->take(2);
    dying->take(1);
    death.join();
    EXPECT_FALSE(service->hasDecCP());
    set({command(0), 0, 0});
    witness->take(1);
    EXPECT_TRUE(dying->take(0).empty());
}

}  // namespace
}  // namespace velora::test
