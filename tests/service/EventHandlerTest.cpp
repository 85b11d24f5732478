#include "tests/service/ServiceFixture.h"

#include <atomic>
#include <fstream>
#include <functional>
#include <future>
#include <thread>

#include <velora/SfxParamStore.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The looper threads of this process: a service that ends on its own looper has one until it has
/// ended.
int looperThreads() {
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        count += name == "VeloraManagerSe" ? 1 : 0;
    }
    return count;
}

/// Waits for the end of services that end on their loopers.
void awaitLoopers() {
    while (looperThreads() > 0) std::this_thread::yield();
    SndManager().getSndOn();  // takes the lock that they held last, and so sees what they did
}

/// What the effect has of one parameter now.
std::vector<int32_t> published(audio_devices_t device, const char* name) {
    SfxParamStore::Caches caches;
    int count = 0;
    SfxParamStore::getInstance().getStoredParams(&caches, true, &count);
    return caches.valueAt(static_cast<size_t>(caches.indexOfKey(device)))
        ->params()
        .at(*reinterpret_cast<const SfxParameterId*>(name));
}

using EventHandlerTest = ServiceFixture;

// Every command, followed to context, effect, clients, and the state after a restart. Short and odd
// buffers do nothing, or what their words that are there say, and reach the clients all the same.
TEST_F(EventHandlerTest, CommandsReachContextEffectStoreAndClients) {
    struct Case {
        std::string what;
        std::vector<int32_t> request;
        std::vector<int32_t> notified;
        std::function<std::vector<int32_t>()> state;
        std::vector<int32_t> expected;
        size_t cut = 0;  ///< bytes that are missing at the end
    };
    const auto on = [&] { return ask({command(0)}); };
    const auto amount = [&] { return parameter(2, 106); };
    const auto headphoneAmount = [&] { return parameter(2, 3, 106); };
    const auto selected = [&] { return ask({command(10)}); };
    const auto modified = [&] { return ask({command(11), 2}); };
    const std::vector<Case> cases{
        {"on", {command(0), 9, 3}, {command(0), 3, 3}, on, {1}},
        {"off", {command(0), 9, -5}, {command(0), -5, -5}, on, {0}},
        {"set, clamped", {command(1), 9, 2, 106, 99}, {}, amount, {16}},
        {"set on a port", {command(2), 9, 2, 3, 106, 5}, {}, headphoneAmount, {5}},
        {"the other ports keep theirs", {command(2), 9, 2, 7, 106, 1}, {}, amount, {16}},
        {"no such profile", {command(1), 9, 5, 106, 1}, {}, amount, {16}},
        {"no value", {command(1), 9, 2, 106}, {}, amount, {16}},
        {"half a value", {command(1), 9, 2, 106, 3}, {}, amount, {16}, 1},
        {"half a second one", {command(1), 9, 2, 106, 3, 4}, {}, amount, {3}, 2},
        {"one too many", {command(1), 9, 2, 106, 3, 4}, {}, amount, {3}},
        {"select", {command(10), 9, 2}, {command(10), 2, 2}, selected, {2}},
        {"select none", {command(10), 9, 5}, {command(10), 5, 5}, selected, {2}},
        {"bytes the other way round", {10, 9, 1}, {}, selected, {2}},
        {"a number too many", {command(10) | 1, 9, 1}, {}, selected, {2}},
        {"no room for a result", {command(10), 9, 1}, {}, selected, {2}, 1},
        {"unknown", {command(3), 9, 1}, {}, selected, {2}},
        {"nothing", {}, {}, selected, {2}},
        {"changed so far", {command(3)}, {}, modified, {1}},
        {"reset", {command(12), 9, 2}, {command(12), 2, 2}, modified, {0}},
    };
    auto client = enter(0, 7);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto request = bytesOf(c.request);
        request.resize(request.size() - c.cut);
        auto notified = c.notified.empty() ? request : bytesOf(c.notified);
        EXPECT_EQ(setBytes(request), 0);
        EXPECT_THAT(client->take(1), ElementsAre(notified));
        EXPECT_EQ(c.state(), c.expected);
        client = restart();
        EXPECT_EQ(c.state(), c.expected) << "after a restart";
    }
    EXPECT_EQ(service->setSfxParam(nullptr, 12), -22);
    EXPECT_EQ(setBytes(Bytes(android::VeloraManagerService::kMaxRequestSize + 1)), -22);
}

TEST_F(EventHandlerTest, WhatIsSetReachesTheEffectBeforeTheClients) {
    const auto client = enter(0, 1);
    set({command(1), 0, 0, 107, 4});
    client->take(1);
    EXPECT_THAT(published(0x2, "dea"), ElementsAre(4));
    EXPECT_THAT(published(0x8000, "dea"), ElementsAre(4));
    client->onUpdate = [](const Bytes&) { EXPECT_THAT(published(0x2, "dea"), ElementsAre(12)); };
    set({command(2), 0, 0, 0, 107, 15});
    client->take(1);
    client->onUpdate = nullptr;
    EXPECT_THAT(published(0x8, "dea"), ElementsAre(4));
    set({command(2), 0, 1, 0, 107, 3});  // of a profile that isn't selected
    set({command(10), 0, 1});
    client->take(2);
    EXPECT_THAT(published(0x2, "dea"), ElementsAre(3));
    int commits = 0;
    SfxParamStore::getInstance().setListener([&] { ++commits; });
    set({command(2), 0, 1, 0, 107, 3});
    client->take(1);
    SfxParamStore::getInstance().setListener(nullptr);
    EXPECT_EQ(commits, 0) << "what is set already is sent nowhere";
}

TEST_F(EventHandlerTest, TheTuningDeviceIsSelectedByNameAndPort) {
    const auto client = enter(0, 1);
    char name[] = "tablet_dock_speaker";
    service->setSelectedTuningDevice(0, name, sizeof name - 1);
    name[0] = 'x';  // the caller's memory is its own again
    service->setSelectedTuningDevice(0, name, sizeof name - 1);
    service->setSelectedTuningDevice(6, name, 0);
    service->setSelectedTuningDevice(1, nullptr, 3);
    service->setSelectedTuningDevice(1, name, -1);
    EXPECT_EQ(client->take(3),
              (std::vector<Bytes>{{'t', 'a', 'b', 'l', 'e', 't', '_', 'd', 'o', 'c', 'k', '_', 's',
                                   'p', 'e', 'a', 'k', 'e', 'r'},
                                  Bytes(name, name + sizeof name - 1),
                                  {}}));
    EXPECT_EQ(service->getSelectedTuningDevice(0), "tablet_dock_speaker");
    EXPECT_THAT(published(0x2, "aobs").front(), 4);
    restart();
    EXPECT_EQ(service->getSelectedTuningDevice(0), "tablet_dock_speaker");
}

TEST_F(EventHandlerTest, RequestsAreDoneInTheOrderOfPosting) {
    constexpr int kRequests = 500;
    const auto client = enter(0, 1);
    std::vector<Bytes> posted;
    for (int i = 0; i < kRequests; ++i) {
        posted.push_back(bytesOf({command(1), 0, 0, 114, i % 10}));
        setBytes(posted.back());
    }
    std::vector<Bytes> notified;
    while (notified.size() < kRequests) {
        for (auto& update : client->take(1)) notified.push_back(std::move(update));
    }
    EXPECT_EQ(notified, posted);
    EXPECT_THAT(parameter(0, 114), ElementsAre(9));
}

TEST_F(EventHandlerTest, APlainClientsLeavingSavesAndADecodersDoesNot) {
    const auto client = enter(0, 1);
    service->registerClient(nullptr, 1, 50);
    const auto stored = [] {
        Provider provider;
        provider.init();
        return provider.loadProfile(0)->get(REVERB_SUPPRESSION_AMOUNT);
    };
    set({command(1), 0, 0, 114, 7});
    client->take(2);
    service->unregisterClient(nullptr, 1, 50);
    EXPECT_THAT(stored(), ElementsAre(2));
    service->unregisterClient(nullptr, 0, 1);
    EXPECT_THAT(stored(), ElementsAre(7));
}

TEST_F(EventHandlerTest, DestructionSavesAndDropsWhatIsStillQueued) {
    std::promise<void> busy;
    std::promise<void> go;
    const auto client = enter(0, 7);
    client->onUpdate = [&, first = true](const Bytes&) mutable {
        if (!std::exchange(first, false)) return;
        busy.set_value();
        go.get_future().wait();
    };
    set({command(1), 0, 0, 115, 3});
    for (int i = 0; i < 100; ++i) set({command(1), 0, 0, 114, 6});
    busy.get_future().wait();
    service.clear();  // the looper thread holds the last reference now
    go.set_value();
    awaitLoopers();
    restart();
    EXPECT_THAT(parameter(0, 115), ElementsAre(3));
    EXPECT_THAT(parameter(0, 114), ElementsAre(2));
}

TEST_F(EventHandlerTest, ShutdownSavesAndLaterRequestsAreDropped) {
    const auto client = enter(0, 7);
    set({command(1), 0, 0, 114, 5});
    client->take(1);
    service->shutdown();
    EXPECT_EQ(looperThreads(), 0);
    EXPECT_EQ(set({command(1), 0, 0, 114, 9}), -19);
    service->setIntParam(android::fourCharacters("RLTF"), 0);
    EXPECT_EQ(log.count("I SndManager: Tell ..."), 0U);
    service->shutdown();
    SndContextManager::getInstance().getSndContext()->setProfileParameter(
        0, REVERB_SUPPRESSION_AMOUNT, {9});
    restart();
    EXPECT_THAT(parameter(0, 114), ElementsAre(5)) << "saved once, at the first shutdown";
}

TEST_F(EventHandlerTest, AClientMayDropTheLastReferenceFromItsUpdate) {
    auto client = sp<RecordingClient>::make();
    client->onUpdate = [this](const Bytes& bytes) {
        if (bytes.size() == 20) service.clear();
    };
    service->registerClient(client, 0, 1);
    {
        const auto mine = service;  // for the time of the call
        set({command(1), 0, 0, 114, 5});
    }
    EXPECT_EQ(client->take(2).size(), 2u);
    awaitLoopers();
    restart();
    EXPECT_THAT(parameter(0, 114), ElementsAre(5));
}

TEST_F(EventHandlerTest, AClientMayDropTheLastReferenceWhenItIsToldOfAReload) {
    dir.write("data/vendor/velora/kiv-extra.xml", contentsOf(sourceFile("data/kiv-extra.xml")));
    const auto client = enter(0, 1);
    client->onUpdate = [this](const Bytes&) { service.clear(); };
    service->setIntParam(android::fourCharacters("RLTF"), 0);
    EXPECT_EQ(client->take(1).size(), 1u);
}

TEST_F(EventHandlerTest, NoMoreRequestsWaitThanThereMay) {
    std::promise<void> busy;
    std::promise<void> go;
    const auto client = enter(0, 1);
    client->onUpdate = [&, first = true](const Bytes&) mutable {
        if (!std::exchange(first, false)) return;
        busy.set_value();
        go.get_future().wait();
    };
    set({command(3), 0, 0});
    busy.get_future().wait();
    for (int i = 0; i < android::VeloraManagerService::kMaxQueuedRequests; ++i) {
        ASSERT_EQ(set({command(3), 0, i}), 0);
    }
    EXPECT_EQ(set({command(3), 0, 0}), -12);
    char name[] = "usb_dac";
    service->setSelectedTuningDevice(5, name, 7);
    EXPECT_EQ(log.count("E VeloraManagerService: setSelectedTuningDevice too many requests are "
                        "waiting"),
              1U);
    go.set_value();
    client->take(android::VeloraManagerService::kMaxQueuedRequests);
    EXPECT_EQ(set({command(3), 0, 0}), 0);
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
    dying->onUpdate = nullptr;
    EXPECT_FALSE(service->hasDecCP());
    set({command(0), 0, 0});
    witness->take(1);
    EXPECT_THAT(dying->take(0), IsEmpty());
}

// One service follows another while clients still call the one before, all in one process.
TEST_F(EventHandlerTest, ManyLivesOfAServiceWhileClientsCall) {
    for (int life = 0; life < 20; ++life) {
        std::atomic<bool> stop{false};
        std::vector<std::thread> callers;
        auto current = sp<android::VeloraManagerService>::make();
        for (uint32_t i = 0; i < 3; ++i) {
            callers.emplace_back([&stop, i, mine = current] {
                mine->registerClient(sp<RecordingClient>::make(), 0, i * 100);
                auto request = bytesOf({command(1), 0, 0, 114, static_cast<int>(i)});
                do {
                    mine->setSfxParam(request.data(), 20);
                    mine->getSfxEnabled();
                } while (!stop);
            });
        }
        current.clear();
        stop = true;
        for (auto& caller : callers) caller.join();
    }
    endService();
    awaitLoopers();
}

}  // namespace
}  // namespace velora::test
