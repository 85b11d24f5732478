#include <cerrno>
#include <future>
#include <vector>

#include <gmock/gmock.h>

#include <android/hidl/base/1.0/IBase.h>
#include <log/log.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/RefBase.h>

namespace android {
namespace {

using hidl::base::V1_0::IBase;

TEST(RefBaseTest, AWeakReferenceIsPromotedUntilTheLastStrongOneIsReleased) {
    auto strong = sp<AMessage>::make(1U, nullptr);
    const wp<AMessage> weak(strong);
    EXPECT_EQ(weak.promote(), strong);
    strong.clear();
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST(LogTest, PreservesTheErrorNumberWhateverTheSinkDoes) {
    __android_log_set_logger([](const __android_log_message*) { errno = EIO; });
    errno = ENOENT;
    __android_log_print(ANDROID_LOG_ERROR, "Tag", "text");
    const int afterwards = errno;
    __android_log_set_logger(nullptr);
    EXPECT_EQ(afterwards, ENOENT);
}

struct DeathRecorder : hardware::hidl_death_recipient {
    void serviceDied(uint64_t cookie, const wp<IBase>&) override { cookies.push_back(cookie); }
    std::vector<uint64_t> cookies;
};

TEST(IBaseTest, NotifiesALinkOnceAndRefusesToLinkToADeadObject) {
    const auto object = sp<IBase>::make();
    const auto recipient = sp<DeathRecorder>::make();
    EXPECT_TRUE(object->linkToDeath(recipient, 7).value());
    object->onDied();
    object->onDied();
    EXPECT_EQ(recipient->cookies, std::vector<uint64_t>{7});
    EXPECT_FALSE(object->linkToDeath(recipient, 8).value());
}

/// Records the messages that it receives. Message 99 is the last.
struct Receiver : AHandler {
    void onMessageReceived(const sp<AMessage>& message) override {
        received.push_back(message->what());
        if (message->what() == 99) last.set_value();
    }
    std::promise<void> last;
    std::vector<uint32_t> received;
};

TEST(LooperTest, DeliversMessagesInOrderOfTheCurrentRegistrationOnly) {
    const auto looper = sp<ALooper>::make();
    const auto handler = sp<Receiver>::make();
    const auto post = [&](uint32_t what) { return sp<AMessage>::make(what, handler)->post(); };
    EXPECT_EQ(post(1), NAME_NOT_FOUND) << "never registered";
    const auto id = looper->registerHandler(handler);
    EXPECT_EQ(post(2), OK) << "queued, but not to be delivered";
    looper->unregisterHandler(id);
    EXPECT_EQ(post(3), NAME_NOT_FOUND);
    looper->registerHandler(handler);
    for (const uint32_t what : {3U, 1U, 99U}) EXPECT_EQ(post(what), OK);
    EXPECT_EQ(looper->start(false, false), OK);
    EXPECT_EQ(looper->start(false, false), INVALID_OPERATION);
    handler->last.get_future().wait();
    EXPECT_EQ(looper->stop(), OK);
    EXPECT_EQ(post(4), NAME_NOT_FOUND);
    EXPECT_THAT(handler->received, testing::ElementsAre(3U, 1U, 99U));
}

}  // namespace
}  // namespace android
