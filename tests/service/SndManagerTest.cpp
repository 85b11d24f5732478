#include "service/SndManager.h"
#include "tests/context/ContextFixture.h"
#include "tests/support/EffectBlocks.h"

#include <velora/SfxParamStore.h>

namespace velora {

namespace {

using test::RecordingEffect;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Values = SndManager::Values;

/// A facade whose effect handle can lose control.
class TestManager : public SndManager {
public:
    std::vector<RecordingEffect*> handles;  ///< all that were made; the last is in use
    bool inControl = true;
    int session = 0;

private:
    struct Handle : RecordingEffect {
        explicit Handle(const bool& inControl) : mInControl(inControl) {}
        bool hasControl() const override { return mInControl; }
        const bool& mInControl;
    };

    std::unique_ptr<SfxEffect> createSfxEffect(int sessionId) override REQUIRES(sLock) {
        SndManager::createSfxEffect(session < 0 ? session : sessionId);
        auto handle = std::make_unique<Handle>(inControl);
        handles.push_back(handle.get());
        return handle;
    }
};

class SndManagerTest : public test::ContextFixture {
protected:
    TestManager facade;
};

TEST_F(SndManagerTest, AnswersNeutrallyWithoutAContext) {
    std::filesystem::remove_all(dir.path() / "odm");
    EXPECT_EQ(facade.init(), -19);
    EXPECT_EQ(facade.reloadTuningXml(), -19);
    facade.setSndOn(true);
    facade.setSelectedTuning(PORT_HDMI, "default_hdmi");
    facade.restoreCurrentProfiles();
    facade.saveSndStateAndSettings();
    facade.saveSndState();
    facade.saveSndProfile();
    facade.saveSndProfileSettings();
    EXPECT_FALSE(facade.getSndOn() || facade.setSndSuspended(true) || facade.getSndSuspended() ||
                 facade.setSelectedProfile(0) || facade.resetProfile(0) ||
                 facade.isProfileModified(0) || facade.isMobilityProfileSelected() ||
                 facade.isMonoInternalSpeaker() || facade.isSpeakerPortraitMode() ||
                 facade.setParameter(0, 106, {1}) ||
                 facade.setProfilePortParameter(0, 0, 106, {1}) || facade.recreateSndEffect() ||
                 facade.validateSndEffect());
    EXPECT_EQ(facade.getNumOfProfiles() + facade.getSelectedProfile() +
                  facade.getNumOfIeqPresets() + facade.getAvailableTuningDevicesLen(PORT_HDMI) +
                  facade.getParamLength(109) + facade.getZenithGameSystemGain(),
              0);
    EXPECT_EQ(facade.getIeqPresetName(0) + facade.getSelectedTuningName(PORT_HDMI) +
                  facade.getDefaultXmlFormatVersion() + facade.getProfileName(0),
              "");
    EXPECT_THAT(facade.getParameter(0, 106), IsEmpty());
    EXPECT_THAT(facade.getProfileParameter(0, CUSTOM_DRC_METADATA), IsEmpty());
    EXPECT_THAT(facade.getProfilePortParameter(0, 0, 106), IsEmpty());
    EXPECT_THAT(facade.handles, IsEmpty());

    install(test::contentsOf(test::sourceFile("data/minimal.xml")));
    EXPECT_EQ(facade.init(), 0);
    EXPECT_EQ(facade.init(), 0);
    EXPECT_EQ(facade.handles.size(), 1u);
    EXPECT_TRUE(facade.handles.back()->enabled);
    EXPECT_EQ(log.count("I SndManager: Created SFX effect version [ 0 ]"), 1u);
}

// A single effect receives what changed; one that was taken away is replaced before the change, and
// the new one is sent everything.
TEST_F(SndManagerTest, ALostEffectIsMadeAnewBeforeEachChange) {
    facade.init();
    RecordingEffect* effect = facade.handles.back();
    effect->take();
    facade.setParameter(0, 114, {3});
    EXPECT_THAT(effect->take(), ElementsAre("40000000 RVSA 3"));
    facade.inControl = false;
    const std::function<void()> changes[] = {
        [&] { facade.setSndOn(true); },
        [&] { facade.setSndSuspended(true); },
        [&] { facade.getSndSuspended(); },
        [&] { facade.setSelectedProfile(7); },
        [&] { facade.resetProfile(-1); },
        [&] { facade.setParameter(0, 99, {}); },
        [&] { facade.setProfilePortParameter(0, 9, 106, {1}); },
        [&] { EXPECT_TRUE(facade.validateSndEffect()); },
    };
    size_t made = facade.handles.size();
    for (const auto& change : changes) {
        change();
        ASSERT_EQ(facade.handles.size(), ++made);
        EXPECT_EQ(facade.handles.back()->take().size(), 6u * 68 + 14);
        EXPECT_TRUE(facade.handles.back()->enabled);
    }
    EXPECT_EQ(log.count("I SndManager: Cannot control the SndEffect, trying to recreate..."),
              made - 1);
    facade.inControl = true;
    EXPECT_TRUE(facade.validateSndEffect());
    EXPECT_EQ(facade.handles.size(), made);
    facade.setSndOn(false);
    facade.session = -1;
    EXPECT_TRUE(facade.recreateSndEffect());
    EXPECT_EQ(facade.handles.size(), made + 1);
    EXPECT_TRUE(facade.handles.back()->enabled) << "whether the sound is on or not";
    EXPECT_EQ(
        log.count("E SndManager: SFX effect with specified session Id (-1) is less than zero"), 1u);
}

TEST_F(SndManagerTest, WhatIsInForceAlreadyIsNotSentAgain) {
    facade.init();
    RecordingEffect* const effect = facade.handles.back();
    effect->take();
    facade.setSelectedTuning(PORT_USB, "default_usb");
    facade.setSelectedProfile(0);
    facade.setParameter(0, 114, {2});
    EXPECT_THAT(effect->take(), IsEmpty());
    facade.setSelectedTuning(PORT_USB, "usb_dac");
    EXPECT_THAT(effect->take(), Each(StartsWith("4000 ")));
    facade.inControl = false;
    facade.setSelectedTuning(PORT_USB, "default_usb");
    facade.restoreCurrentProfiles();
    EXPECT_EQ(facade.handles.size(), 1u) << "neither looks after the effect";
}

TEST_F(SndManagerTest, AFacadeThatHasEndedIsToldNothing) {
    facade.init();
    { TestManager().init(); }
    int commits = 0;
    SfxParamStore::getInstance().setListener([&] { ++commits; });
    facade.setParameter(0, 114, {5});
    SfxParamStore::getInstance().setListener(nullptr);
    EXPECT_EQ(commits, 1);
}

// The block that docs/effect-block.md shows, word by word.
TEST_F(SndManagerTest, AChangeSendsTheDocumentedBlock) {
    facade.init();
    facade.handles.back()->take();
    facade.setProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 107, {14});
    std::istringstream doc(test::contentsOf(test::sourceFile("docs/effect-block.md")));
    std::vector<int32_t> documented;
    bool inExample = false;
    for (std::string line; std::getline(doc, line);) {
        if (line == "```") {
            inExample = !inExample;
            continue;
        }
        std::istringstream words(inExample ? line : "");
        for (std::string word; words >> word;) {
            documented.push_back(static_cast<int32_t>(std::stoul(word, nullptr, 16)));
        }
    }
    EXPECT_THAT(facade.handles.back()->blocks, ElementsAre(documented));
}

TEST_F(SndManagerTest, SuspendingHidesTheSwitch) {
    facade.init();
    facade.setSndOn(true);
    EXPECT_FALSE(facade.setSndSuspended(false));
    EXPECT_TRUE(facade.getSndOn());
    EXPECT_TRUE(facade.setSndSuspended(true)) << "the effect is on";
    EXPECT_TRUE(facade.setSndSuspended(true)) << "it is suspended already";
    EXPECT_TRUE(facade.getSndSuspended());
    EXPECT_FALSE(facade.getSndOn());
    EXPECT_EQ(log.count("I SndManager: SND effect is now suspended"), 1u);
    facade.setSndOn(false);
    EXPECT_FALSE(facade.setSndSuspended(false));
    EXPECT_FALSE(facade.getSndOn());
}

TEST_F(SndManagerTest, WhatIsOutOfRangeIsRefused) {
    facade.init();
    EXPECT_FALSE(facade.setSelectedProfile(5) || facade.setSelectedProfile(-1) ||
                 facade.resetProfile(5) || facade.isProfileModified(5) ||
                 facade.setParameter(5, 106, {1}) || facade.setParameter(-1, 106, {1}) ||
                 facade.setParameter(0, 99, {1}) || facade.setParameter(0, 106, {}) ||
                 facade.setProfilePortParameter(0, 7, 106, {1}) ||
                 facade.setProfilePortParameter(0, -1, 106, {1}) ||
                 facade.setProfilePortParameter(5, 0, 106, {1}) ||
                 facade.setProfilePortParameter(0, 0, 106, {}));
    EXPECT_THAT(facade.getParameter(5, 106), IsEmpty());
    EXPECT_THAT(facade.getParameter(0, 99), IsEmpty());
    EXPECT_THAT(facade.getProfilePortParameter(0, 7, 106), IsEmpty());
    EXPECT_THAT(facade.getProfilePortParameter(0, 0, 99), IsEmpty());
    EXPECT_EQ(facade.getProfileName(5), "");
    EXPECT_EQ(facade.getParamLength(99), 0);
    EXPECT_EQ(log.count("E SndManager: Invalid Port!"), 3u);
    EXPECT_EQ(log.count("E SndManager: Invalid Profile Id!"), 1u);
    EXPECT_EQ(log.count("E SndManager: Invalid paramId!"), 1u);
    EXPECT_TRUE(facade.setParameter(0, 116, {1})) << "the adapter's to ignore";
    EXPECT_EQ(facade.getParamLength(109), 20);
    EXPECT_EQ(facade.getProfileNameLen(0), 8);
    EXPECT_EQ(facade.getSndVersion(), "SND_VERSION_EXTERNAL");
    EXPECT_EQ(facade.getProfileParameter(4, CUSTOM_DRC_METADATA), (Values{2, -384, 48, 12, 200}));
}

TEST_F(SndManagerTest, VirtualBassAlsoSetsTheSourceDistance) {
    facade.init();
    EXPECT_TRUE(facade.setParameter(0, 111, {50}));
    EXPECT_THAT(facade.getParameter(0, 111), ElementsAre(1));
    EXPECT_THAT(facade.getParameter(0, 112), ElementsAre(50));
    EXPECT_TRUE(facade.setProfilePortParameter(0, PORT_BLUETOOTH, 111, {60}));
    EXPECT_THAT(facade.getProfilePortParameter(0, PORT_HEADPHONE, 112), ElementsAre(60));
    EXPECT_THAT(facade.getProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 112), ElementsAre(50));
}

TEST_F(SndManagerTest, EachSaveWritesItsPart) {
    facade.init();
    const auto stored = [] {
        Provider provider;
        provider.init();
        return std::vector<int>{provider.isSfxOn(), provider.getSelectedProfile(),
                                provider.loadProfile(0)->get(REVERB_SUPPRESSION_AMOUNT).front()};
    };
    facade.setSndOn(false);
    facade.setSelectedProfile(1);
    facade.setParameter(0, 114, {8});
    EXPECT_THAT(stored(), ElementsAre(1, 0, 2));
    facade.saveSndState();
    EXPECT_THAT(stored(), ElementsAre(0, 0, 2));
    facade.saveSndProfile();
    EXPECT_THAT(stored(), ElementsAre(0, 1, 2));
    facade.saveSndProfileSettings();
    EXPECT_THAT(stored(), ElementsAre(0, 1, 8));
    facade.setParameter(0, 114, {9});
    facade.restoreCurrentProfiles();
    EXPECT_THAT(facade.getParameter(0, 114), ElementsAre(8));
}

}  // namespace

}  // namespace velora
