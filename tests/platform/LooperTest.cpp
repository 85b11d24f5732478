#include <functional>
#include <future>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>

namespace android {
namespace {

using testing::ElementsAre;

/// Records the messages that it receives. Message 99 is the last: it stores the result of `atLast`.
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

TEST_F(LooperTest, DeliversMessagesInOrderOnItsOwnThreadUntilAHandlerStopsIt) {
    handler->atLast = [this, caller = std::this_thread::get_id()] {
        EXPECT_NE(caller, std::this_thread::get_id());
        return std::exchange(looper, nullptr)->stop();
    };
    looper->registerHandler(handler);
    for (const uint32_t what : {3U, 1U, 2U, 99U, 4U}) EXPECT_EQ(post(what), OK);
    EXPECT_EQ(looper->start(false, false), OK);
    EXPECT_EQ(done.get(), OK);
    EXPECT_THAT(handler->received, ElementsAre(3U, 1U, 2U, 99U));
}

TEST_F(LooperTest, DropsMessagesOfAnEarlierRegistrationEvenIfPostedMeanwhile) {
    EXPECT_EQ(sp<AMessage>::make(1U, nullptr)->post(), NAME_NOT_FOUND);
    EXPECT_EQ(post(1), NAME_NOT_FOUND) << "never registered";
    for (int round = 0; round < 300; ++round) {
        const auto id = looper->registerHandler(handler);
        EXPECT_EQ(looper->registerHandler(handler), INVALID_OPERATION);
        EXPECT_EQ(post(2), OK) << "queued, but not to be delivered";
        const std::jthread poster([&] {
            for (int i = 0; i < 30; ++i) post(2);
        });
        looper->unregisterHandler(id);
    }
    EXPECT_EQ(post(3), NAME_NOT_FOUND);
    looper->registerHandler(handler);
    EXPECT_EQ(post(99), OK);
    EXPECT_EQ(looper->start(true, false), INVALID_OPERATION) << "on the calling thread";
    EXPECT_EQ(looper->start(false, false), OK);
    EXPECT_EQ(looper->start(false, false), INVALID_OPERATION);
    done.wait();
    EXPECT_EQ(looper->stop(), OK);
    EXPECT_EQ(looper->stop(), INVALID_OPERATION);
    EXPECT_EQ(post(4), NAME_NOT_FOUND);
    EXPECT_THAT(handler->received, ElementsAre(99U));
}

}  // namespace
}  // namespace android
