#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <android/hidl/base/1.0/IBase.h>
#include <log/log.h>
#include <utils/RefBase.h>

namespace android {
namespace {

using hidl::base::V1_0::IBase;

struct Counted : RefBase {
    explicit Counted(std::atomic<int>& alive) : mAlive(alive) { ++mAlive; }
    ~Counted() override { --mAlive; }
    void onFirstRef() override { ++firstRefs; }
    std::atomic<int>& mAlive;
    int firstRefs = 0;
};

TEST(RefBaseTest, AWeakReferenceIsPromotedUntilTheLastStrongOneIsReleased) {
    for (int round = 0; round < 200; ++round) {
        std::atomic<int> alive{0};
        sp<Counted> strong = sp<Counted>::make(alive);
        std::thread promoter([weak = wp<Counted>(strong)] {
            while (const auto object = weak.promote()) EXPECT_EQ(object->firstRefs, 1);
        });
        strong.clear();
        promoter.join();
        EXPECT_EQ(alive, 0);
    }
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

}  // namespace
}  // namespace android
