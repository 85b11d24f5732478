#include "tests/service/ServiceFixture.h"

#include <atomic>
#include <future>
#include <thread>

namespace velora::test {
namespace {

using testing::ElementsAre;

using EventHandlerTest = ServiceFixture;

TEST_F(EventHandlerTest, CommandsReachTheFacadeAndComeBackToTheClients) {
    const auto client = enter(0, 1);
    struct Case {
        Bytes request;
        std::vector<std::string> calls;
        Bytes notified;
    };
    const auto words = [](const std::vector<int32_t>& w) { return bytesOf(w); };
    const auto unchanged = [&](const Bytes& request, const std::vector<std::string>& calls) {
        return Case{request, calls, request};
    };
    const auto cut = [](Bytes bytes, size_t size) {
        bytes.resize(size);
        return bytes;
    };
    const Case cases[] = {
        {words({command(0), 9, 3}), {"on", "save state"}, words({command(0), 3, 3})},
        {words({command(0), 9, -5}), {"off", "save state"}, words({command(0), -5, -5})},
        unchanged(words({command(1), 9, 2, 106, 16}), {"set 2 106: 16"}),
        unchanged(words({command(1), 9, 2, 106, 16, -1}), {"set 2 106: 16 -1"}),
        unchanged(words({command(1), 9, 2, 106}), {"set 2 106:"}),
        unchanged(cut(words({command(1), 9, 2, 106, 16, 7}), 22), {"set 2 106: 16"}),
        unchanged(cut(words({command(1), 9, 2, 106, 16}), 19), {"set 2 106:"}),
        unchanged(words({command(1), 9, 2}), {"set 2 0:"}),
        unchanged(words({command(2), 9, 2, 3, 106, 16, 17}), {"set 2/3 106: 16 17"}),
        unchanged(words({command(2), 9, 2, 3, 106}), {"set 2/3 106:"}),
        unchanged(cut(words({command(2), 9, 2, 3, 106, 16}), 14), {"set 2/0 0:"}),
        {words({command(10), 9, 2}), {"select 2", "save profile"}, words({command(10), 2, 2})},
        {words({command(12), 9, 1}), {"reset 1"}, words({command(12), 1, 1})},
        unchanged(words({command(3), 9, 1}), {}),
        unchanged(words({command(10) | 1, 9, 1}), {}),
        unchanged(words({10, 9, 1}), {}),
        unchanged(cut(words({command(12), 9, 1}), 11), {}),
        unchanged(Bytes{0}, {}),
        unchanged(Bytes{}, {}),
    };
    fake.takeCalls();
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.request));
        EXPECT_EQ(set(c.request), 0);
        EXPECT_THAT(client->take(1), ElementsAre(c.notified));
        EXPECT_EQ(fake.takeCalls(), c.calls);
    }
    EXPECT_EQ(service->setSfxParam(nullptr, 12), -22);
    EXPECT_EQ(set(Bytes(android::VeloraManagerService::kMaxRequestSize + 1)), -22);
}

TEST_F(EventHandlerTest, AProfileThatCannotBeSelectedIsNotSavedButNamed) {
    const auto client = enter(0, 1);
    fake.selectable = false;
    fake.takeCalls();
    set(bytesOf({command(10), 9, 2}));
    EXPECT_THAT(client->take(1), ElementsAre(bytesOf({command(10), 2, 2})));
    EXPECT_THAT(fake.takeCalls(), ElementsAre("select 2"));
    fake.selectable = fake.ignoresSelection = true;  // selected, and another one is in force
    set(bytesOf({command(10), 9, 2}));
    client->take(1);
    EXPECT_THAT(fake.takeCalls(), ElementsAre("select 2"));
}

TEST_F(EventHandlerTest, TheTuningDeviceIsSelectedByNameAndPort) {
    const auto client = enter(0, 1);
    fake.takeCalls();
    char name[] = "tv\0set";
    service->setSelectedTuningDevice(1, name, 6);
    service->setSelectedTuningDevice(6, name, 0);
    service->setSelectedTuningDevice(1, nullptr, 3);
    service->setSelectedTuningDevice(1, name, -1);
    name[0] = 'x';  // the caller's memory is its own again
    EXPECT_EQ(client->take(2), (std::vector<Bytes>{{'t', 'v', 0, 's', 'e', 't'}, {}}));
    EXPECT_THAT(fake.takeCalls(),
                ElementsAre(std::string("tuning 1 [tv\0set]", 17), "tuning 6 []"));
}

TEST_F(EventHandlerTest, RequestsAreDoneInTheOrderOfPosting) {
    constexpr int kRequests = 500;
    const auto client = enter(0, 1);
    fake.takeCalls();
    for (int i = 0; i < kRequests; ++i) set(bytesOf({command(12), 0, i}));
    EXPECT_EQ(client->take(kRequests).size(), size_t{kRequests});
    const auto calls = fake.takeCalls();
    ASSERT_EQ(calls.size(), size_t{kRequests});
    for (int i = 0; i < kRequests; ++i) {
        EXPECT_EQ(calls[static_cast<size_t>(i)], "reset " + std::to_string(i));
    }
}

TEST_F(EventHandlerTest, DestructionSavesAndDropsWhatIsStillQueued) {
    std::promise<void> busy;
    std::promise<void> go;
    const auto client = enter(0, 1);
    client->onUpdate = [&, first = true](const Bytes&) mutable {
        if (std::exchange(first, false)) {
            busy.set_value();
            go.get_future().wait();
        }
    };
    for (int i = 0; i < 100; ++i) set(bytesOf({command(12), 0, i}));
    busy.get_future().wait();
    service.clear();  // the looper thread holds the last reference now
    EXPECT_EQ(fake.countOf("save all"), 0U);
    go.set_value();
    while (fake.alive > 0) std::this_thread::yield();
    EXPECT_EQ(fake.countOf("save all"), 1U);
    EXPECT_EQ(fake.countOf("reset 0"), 1U);
    EXPECT_EQ(fake.countOf("reset 1"), 0U);
    EXPECT_EQ(client->take(1).size(), 1U);
}

TEST_F(EventHandlerTest, ShutdownEndsTheLooperAndSavesOnce) {
    enter(0, 1);
    set(bytesOf({command(12), 0, 7}));
    service->shutdown();
    const auto calls = fake.takeCalls();
    EXPECT_EQ(calls.back(), "save all");  // after whatever the looper was still doing
    EXPECT_EQ(set(bytesOf({command(12), 0, 8})), 0);
    service->shutdown();
    endService();
    EXPECT_EQ(fake.takeCalls(), std::vector<std::string>{"~"});
}

TEST_F(EventHandlerTest, AClientMayDropTheLastReferenceFromItsUpdate) {
    auto client = sp<RecordingClient>::make();
    client->onUpdate = [this](const Bytes& bytes) {
        if (bytes.size() == 12) service.clear();
    };
    service->registerClient(client, 0, 1);
    {
        const auto mine = service;  // for the time of the call
        set(bytesOf({command(12), 0, 1}));
    }
    while (fake.alive > 0) std::this_thread::yield();
    EXPECT_EQ(client->take(2).size(), 2U);
}

TEST_F(EventHandlerTest, ManyLivesOfAServiceWhileClientsCall) {
    for (int life = 0; life < 20; ++life) {
        std::atomic<bool> stop{false};
        std::vector<std::thread> callers;
        auto current = sp<android::VeloraManagerService>::make();
        for (uint32_t i = 0; i < 3; ++i) {
            callers.emplace_back([&stop, i, mine = current] {
                mine->registerClient(sp<RecordingClient>::make(), 0, i * 100);
                auto request = bytesOf({command(12), 0, 1});
                do {
                    mine->setSfxParam(request.data(), 12);
                    mine->getSfxEnabled();
                } while (!stop);
            });
        }
        current.clear();
        stop = true;
        for (auto& caller : callers) caller.join();
    }
    while (fake.alive > 1) std::this_thread::yield();  // the fixture's own stays
    EXPECT_EQ(fake.countOf("save all"), 20U);
}

}  // namespace
}  // namespace velora::test
