#include <functional>
#include <future>
#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

namespace android {
namespace {

/// Notes what it receives, and at message 99, the last, hands the result of `atLast` to `done`.
struct Receiver : AHandler {
    void onMessageReceived(const sp<AMessage>& message) override {
        received.push_back(message->what());
        if (message->what() == 99) done.set_value(atLast());
    }
    std::function<status_t()> atLast = [] { return OK; };
    std::promise<status_t> done;
    std::vector<uint32_t> received;
};

status_t post(uint32_t what, const sp<AHandler>& handler) {
    return sp<AMessage>::make(what, handler)->post();
}

struct LooperTest : testing::Test {
    sp<ALooper> looper = sp<ALooper>::make();
    const sp<Receiver> handler = sp<Receiver>::make();
};

TEST_F(LooperTest, HandsMessagesOverInTheOrderPostedOnItsOwnThread) {
    std::vector<uint32_t> posted(100);
    std::iota(posted.begin(), posted.end(), 0);
    std::thread::id own;
    handler->atLast = [&] {
        own = std::this_thread::get_id();
        return OK;
    };
    looper->registerHandler(handler);
    for (const uint32_t what : posted) {
        if (what == 50) looper->start(false, false);
        EXPECT_EQ(post(what, handler), OK);
    }
    EXPECT_EQ(handler->done.get_future().get(), OK);
    EXPECT_NE(own, std::this_thread::get_id());
    EXPECT_EQ(looper->stop(), OK);
    EXPECT_EQ(handler->received, posted);
}

TEST_F(LooperTest, DropsWhatIsPostedToNoOneOrTooLate) {
    EXPECT_EQ(post(1, nullptr), NAME_NOT_FOUND);
    EXPECT_EQ(post(1, handler), NAME_NOT_FOUND);  // not registered
    const auto id = looper->registerHandler(handler);
    EXPECT_EQ(looper->registerHandler(handler), INVALID_OPERATION);
    EXPECT_EQ(looper->start(true, false), INVALID_OPERATION);
    EXPECT_EQ(post(2, handler), OK);  // queued, then meant for no one
    looper->unregisterHandler(id);
    EXPECT_EQ(post(3, handler), NAME_NOT_FOUND);
    looper->registerHandler(handler);
    EXPECT_EQ(post(99, handler), OK);
    looper->start(false, false);
    EXPECT_EQ(looper->start(false, false), INVALID_OPERATION);
    handler->done.get_future().wait();
    EXPECT_EQ(looper->stop(), OK);
    EXPECT_EQ(looper->stop(), INVALID_OPERATION);
    EXPECT_EQ(post(4, handler), NAME_NOT_FOUND);
    EXPECT_EQ(handler->received, std::vector<uint32_t>{99});
}

TEST_F(LooperTest, NoMessageComesAfterUnregisteringHoweverThePostRaces) {
    for (int round = 0; round < 300; ++round) {
        const auto id = looper->registerHandler(handler);
        std::thread poster([&] {
            for (int i = 0; i < 30; ++i) post(1, handler);
        });
        looper->unregisterHandler(id);  // nothing is delivered before the start
        poster.join();
    }
    looper->registerHandler(handler);
    post(99, handler);
    looper->start(false, false);
    handler->done.get_future().wait();
    looper->stop();
    EXPECT_EQ(handler->received, std::vector<uint32_t>{99});
}

TEST_F(LooperTest, StopsFromItsOwnThreadAfterTheMessageAtHand) {
    handler->atLast = [this] { return std::exchange(looper, nullptr)->stop(); };
    looper->registerHandler(handler);
    for (const uint32_t what : {99U, 1U}) post(what, handler);
    looper->start(false, false);
    EXPECT_EQ(handler->done.get_future().get(), OK);
    EXPECT_EQ(handler->received, std::vector<uint32_t>{99});
}

TEST(MessageTest, FindsItsEntriesByName) {
    const auto m = sp<AMessage>::make(1U, nullptr);
    const auto buffer = sp<ABuffer>::make(size_t{4});
    m->setInt32("port", 3);
    m->setBuffer("buffer", buffer);
    int32_t port = -1;
    sp<ABuffer> found;
    EXPECT_TRUE(m->findInt32("port", &port) && m->findBuffer("buffer", &found));
    EXPECT_EQ(port, 3);
    EXPECT_EQ(found, buffer);
    EXPECT_FALSE(m->findInt32("buffer", &port) || m->findBuffer("port", &found));
}

}  // namespace
}  // namespace android
