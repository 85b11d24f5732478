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

struct LooperTest : testing::Test {
    status_t post(uint32_t what) { return sp<AMessage>::make(what, handler)->post(); }

    sp<ALooper> looper = sp<ALooper>::make();
    const sp<Receiver> handler = sp<Receiver>::make();
    std::future<status_t> done = handler->done.get_future();
};

TEST_F(LooperTest, HandsMessagesOverInOrderOnItsOwnThreadUntilItStopsThere) {
    std::vector<uint32_t> posted(100);
    std::iota(posted.begin(), posted.end(), 0);
    handler->atLast = [this, caller = std::this_thread::get_id()] {
        EXPECT_NE(caller, std::this_thread::get_id());
        return std::exchange(looper, nullptr)->stop();
    };
    looper->registerHandler(handler);
    for (const uint32_t what : posted) EXPECT_EQ(post(what), OK);
    post(100);  // too late
    looper->start(false, false);
    EXPECT_EQ(done.get(), OK);
    EXPECT_EQ(handler->received, posted);
}

TEST_F(LooperTest, DropsWhatIsPostedToNoOneOrTooLateHoweverThePostRaces) {
    EXPECT_EQ(sp<AMessage>::make(1U, nullptr)->post(), NAME_NOT_FOUND);
    EXPECT_EQ(post(1), NAME_NOT_FOUND) << "not registered";
    for (int round = 0; round < 300; ++round) {
        const auto id = looper->registerHandler(handler);
        EXPECT_EQ(looper->registerHandler(handler), INVALID_OPERATION);
        EXPECT_EQ(post(2), OK) << "queued, then meant for no one";
        const std::jthread poster([&] {
            for (int i = 0; i < 30; ++i) post(3);
        });
        looper->unregisterHandler(id);
    }
    EXPECT_EQ(post(4), NAME_NOT_FOUND);
    looper->registerHandler(handler);
    EXPECT_EQ(post(99), OK);
    EXPECT_EQ(looper->start(true, false), INVALID_OPERATION) << "on this thread";
    looper->start(false, false);
    EXPECT_EQ(looper->start(false, false), INVALID_OPERATION);
    done.wait();
    EXPECT_EQ(looper->stop(), OK);
    EXPECT_EQ(looper->stop(), INVALID_OPERATION);
    EXPECT_EQ(post(5), NAME_NOT_FOUND);
    EXPECT_EQ(handler->received, std::vector<uint32_t>{99});
}

}  // namespace
}  // namespace android
