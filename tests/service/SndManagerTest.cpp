#include "service/SndManager.h"
#include "tests/context/ContextFixture.h"
#include "tests/support/EffectBlocks.h"

namespace velora {

namespace {

using test::RecordingEffect;
using testing::ElementsAre;

/// A facade whose effect handle can lose control.
class TestManager : public SndManager {
public:
    std::vector<RecordingEffect*> handles;  ///< all that were made; the last is in use
    bool inControl = true;

private:
    struct Handle : RecordingEffect {
        explicit Handle(const bool& inControl) : mInControl(inControl) {}
        bool hasControl() const override { return mInControl; }
        const bool& mInControl;
    };

    std::unique_ptr<SfxEffect> createSfxEffect(int sessionId) override REQUIRES(sLock) {
        SndManager::createSfxEffect(sessionId);
        auto handle = std::make_unique<Handle>(inControl);
        handles.push_back(handle.get());
        return handle;
    }
};

class SndManagerTest : public test::ContextFixture {
protected:
    SndManagerTest() { EXPECT_EQ(facade.init(), 0); }
    TestManager facade;
};

TEST_F(SndManagerTest, AnswersNeutrallyBeforeItIsInitialised) {
    TestManager early;
    EXPECT_FALSE(early.recreateSndEffect());
    EXPECT_FALSE(early.setParameter(0, 106, {1}));
    EXPECT_EQ(early.getProfileNameLen(0), 0);
}

// An effect receives what changed. One that has lost control is replaced before the change, and the
// new one is sent everything.
TEST_F(SndManagerTest, ALostEffectIsReplacedBeforeEachChange) {
    EXPECT_EQ(facade.init(), 0) << "as before, without another effect";
    EXPECT_EQ(facade.handles.size(), 1U);
    RecordingEffect* const effect = facade.handles.back();
    effect->drain();
    facade.setParameter(0, 114, {3});
    EXPECT_THAT(effect->drain(), ElementsAre("40000000 RVSA 3"));
    facade.inControl = false;
    const std::function<void()> changes[] = {
        [&] { facade.setSndOn(true); },
        [&] { facade.setSndSuspended(true); },
        [&] { facade.setSelectedProfile(7); },
        [&] { facade.setParameter(0, 99, {}); },
        [&] { facade.setProfilePortParameter(0, 9, 106, {1}); },
        [&] { EXPECT_TRUE(facade.validateSndEffect()); },
    };
    constexpr size_t kAllEntries = 6 * 68 + 14;  // of each port, and of the profile
    size_t made = 1;
    for (const auto& change : changes) {
        change();
        ASSERT_EQ(facade.handles.size(), ++made);
        EXPECT_EQ(facade.handles.back()->drain().size(), kAllEntries);
        EXPECT_TRUE(facade.handles.back()->enabled);
    }
}

TEST_F(SndManagerTest, AFacadeThatHasEndedIsNotNotified) {
    { EXPECT_EQ(TestManager().init(), 0); }
    facade.setParameter(0, 114, {5});
    EXPECT_THAT(facade.getParameter(0, 114), ElementsAre(5));
}

// The block that docs/effect-block.md shows, word by word.
TEST_F(SndManagerTest, AChangeSendsTheDocumentedBlock) {
    facade.handles.back()->blocks.clear();
    facade.setProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 107, {14});
    const std::string doc = test::contentsOf(test::sourceFile("docs/effect-block.md"));
    std::istringstream example(doc.substr(doc.find("```\n") + 4));
    std::vector<int32_t> documented;
    for (uint32_t word = 0; example >> std::hex >> word;) {
        documented.push_back(static_cast<int32_t>(word));
    }
    EXPECT_THAT(facade.handles.back()->blocks, ElementsAre(documented));
}

TEST_F(SndManagerTest, SuspendingHidesTheSwitch) {
    EXPECT_FALSE(facade.setSndSuspended(false));
    EXPECT_TRUE(facade.setSndSuspended(true)) << "the effect is on";
    EXPECT_FALSE(facade.getSndOn());
    facade.setSndOn(false);
    EXPECT_TRUE(facade.setSndSuspended(true)) << "it is suspended already";
}

TEST_F(SndManagerTest, VirtualBassAlsoSetsTheSourceDistance) {
    EXPECT_TRUE(facade.setParameter(0, 111, {50}));
    EXPECT_THAT(facade.getParameter(0, 111), ElementsAre(1));
    EXPECT_THAT(facade.getProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 112), ElementsAre(50));
    EXPECT_TRUE(facade.setProfilePortParameter(0, PORT_BLUETOOTH, 111, {60}));
    EXPECT_THAT(facade.getProfilePortParameter(0, PORT_HEADPHONE, 112), ElementsAre(60));
}

}  // namespace

}  // namespace velora
