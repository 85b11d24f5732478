#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

namespace android {
namespace {

struct Handler : AHandler {
    explicit Handler(std::function<void(const AMessage&)> f) : handle(std::move(f)) {}
    void onMessageReceived(const sp<AMessage>& message) override { handle(*message); }
    const std::function<void(const AMessage&)> handle;
};

sp<AMessage> message(uint32_t what, const sp<AHandler>& handler) {
    return sp<AMessage>::make(what, handler);
}

TEST(LooperTest, HandsMessagesOverInTheOrderPostedOnItsOwnThread) {
    std::vector<uint32_t> received;
    std::promise<std::thread::id> done;
    const auto looper = sp<ALooper>::make();
    const auto handler = sp<Handler>::make([&](const AMessage& m) {
        received.push_back(m.what());
        if (m.what() == 99) done.set_value(std::this_thread::get_id());
    });
    looper->registerHandler(handler);
    for (uint32_t what = 0; what < 50; ++what) EXPECT_EQ(message(what, handler)->post(), OK);
    looper->start(false, false);
    for (uint32_t what = 50; what < 100; ++what) EXPECT_EQ(message(what, handler)->post(), OK);
    EXPECT_NE(done.get_future().get(), std::this_thread::get_id());
    EXPECT_EQ(looper->stop(), OK);
    ASSERT_EQ(received.size(), 100U);
    for (uint32_t what = 0; what < 100; ++what) EXPECT_EQ(received[what], what);
}

TEST(LooperTest, DropsWhatIsPostedToNoOneOrTooLate) {
    std::vector<uint32_t> received;
    std::promise<void> done;
    const auto looper = sp<ALooper>::make();
    const auto handler = sp<Handler>::make([&](const AMessage& m) {
        received.push_back(m.what());
        if (m.what() == 9) done.set_value();
    });
    EXPECT_EQ(message(1, handler)->post(), NAME_NOT_FOUND);  // not registered
    const auto id = looper->registerHandler(handler);
    EXPECT_EQ(looper->registerHandler(handler), INVALID_OPERATION);
    EXPECT_EQ(looper->start(true, false), INVALID_OPERATION);
    EXPECT_EQ(message(2, handler)->post(), OK);  // queued, then meant for no one
    looper->unregisterHandler(id);
    EXPECT_EQ(message(3, handler)->post(), NAME_NOT_FOUND);
    looper->registerHandler(handler);
    EXPECT_EQ(message(9, handler)->post(), OK);
    looper->start(false, false);
    EXPECT_EQ(looper->start(false, false), INVALID_OPERATION);
    done.get_future().wait();
    EXPECT_EQ(looper->stop(), OK);
    EXPECT_EQ(looper->stop(), INVALID_OPERATION);
    EXPECT_EQ(message(4, handler)->post(), NAME_NOT_FOUND);
    EXPECT_EQ(received, std::vector<uint32_t>{9});
}

TEST(LooperTest, NoMessageComesAfterUnregisteringHoweverThePostRaces) {
    for (int round = 0; round < 300; ++round) {
        std::atomic<int> received{0};
        std::promise<void> passed;
        const auto looper = sp<ALooper>::make();
        const auto handler = sp<Handler>::make([&](const AMessage&) { ++received; });
        const auto last = sp<Handler>::make([&](const AMessage&) { passed.set_value(); });
        const auto id = looper->registerHandler(handler);
        looper->registerHandler(last);
        std::thread poster([&] {
            for (int i = 0; i < 30; ++i) message(1, handler)->post();
        });
        looper->unregisterHandler(id);  // nothing is delivered before the start
        poster.join();
        message(2, last)->post();
        looper->start(false, false);
        passed.get_future().wait();
        looper->stop();
        EXPECT_EQ(received, 0);
    }
}

TEST(LooperTest, StopsFromItsOwnThreadAfterTheMessageAtHand) {
    std::promise<status_t> stopped;
    auto looper = sp<ALooper>::make();
    auto handler = sp<Handler>::make([&](const AMessage& m) {
        EXPECT_EQ(m.what(), 1U);
        auto mine = std::exchange(looper, nullptr);  // the last reference but the thread's own
        stopped.set_value(mine->stop());
    });
    looper->registerHandler(handler);
    for (const uint32_t what : {1U, 2U}) message(what, handler)->post();
    looper->start(false, false);
    EXPECT_EQ(stopped.get_future().get(), OK);
}

TEST(MessageTest, FindsItsEntriesByName) {
    const auto m = message(1, nullptr);
    const auto buffer = sp<ABuffer>::make(size_t{4});
    m->setInt32("port", 3);
    m->setBuffer("buffer", buffer);
    int32_t port = -1;
    sp<ABuffer> found;
    EXPECT_TRUE(m->findInt32("port", &port));
    EXPECT_TRUE(m->findBuffer("buffer", &found));
    EXPECT_EQ(port, 3);
    EXPECT_EQ(found, buffer);
    EXPECT_FALSE(m->findInt32("buffer", &port));
    EXPECT_EQ(m->post(), NAME_NOT_FOUND);
}

}  // namespace
}  // namespace android
