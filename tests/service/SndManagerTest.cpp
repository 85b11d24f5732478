#include "service/ParameterAdapter.h"
#include "service/SndManager.h"
#include "tests/context/ContextFixture.h"
#include "tests/support/EffectBlocks.h"

namespace velora {
namespace {

using Values = SndContext::Values;
using test::RecordingEffect;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(SndManagerTest, VirtualBassAlsoSetsTheSourceDistance) {
    EXPECT_TRUE(facade.setParameter(0, 111, {50}));
    EXPECT_THAT(facade.getParameter(0, 111), ElementsAre(1));
    EXPECT_THAT(facade.getProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 112), ElementsAre(50));
    EXPECT_TRUE(facade.setProfilePortParameter(0, PORT_BLUETOOTH, 111, {60}));
    EXPECT_THAT(facade.getProfilePortParameter(0, PORT_HEADPHONE, 112), ElementsAre(60));
}

/// Where parameters of a scope are kept, in the order of `Scope`: on the profile (P), on the
/// speaker's, headphone's and other endpoint (S, H, O), on the GEQ preset (G).
constexpr std::string_view kHolders[] = {"P", "SHO", "SHO", "H", "S", "G"};

class ParameterAdapterTest : public test::ContextFixture {
protected:
    std::map<char, Values> held(Parameter parameter) {
        const auto on = [&](Endpoint endpoint) {
            return context.getProfileParameter(0, endpoint, parameter);
        };
        return {{'S', on(Endpoint::SPEAKER)},
                {'H', on(Endpoint::HEADPHONE)},
                {'O', on(Endpoint::OTHER)},
                {'P', context.getProfileParameter(0, parameter)},
                {'G', context.getProfileGeqParameter(0, parameter)}};
    }
    /// `before` with `values` at the holders of `where`.
    static std::map<char, Values> with(std::map<char, Values> before, std::string_view where,
                                       const Values& values) {
        for (const char holder : where) before[holder] = values;
        return before;
    }

    Values set(int id, Values values) {
        adapter.setParameter(0, id, values);
        return values;
    }
    Values setOn(Endpoint endpoint, int id, Values values) {
        adapter.setProfileEndpointParameter(0, endpoint, id, values);
        return adapter.getProfileEndpointParameter(0, endpoint, id);
    }

    SndContext& context = restart();
    ParameterAdapter adapter{&context};
};

TEST_F(ParameterAdapterTest, EachParameterIsLimitedToItsRangeAndWrittenWhereItIsKept) {
    for (const AdapterParameter& row : kAdapterParameters) {
        SCOPED_TRACE(row.id);
        const auto before = held(row.parameter);
        const auto length = static_cast<size_t>(row.length);
        const bool isBass = row.id == kVirtualBassEnable;  // refused elsewhere
        const auto where = isBass ? "S" : kHolders[static_cast<size_t>(row.scope)];
        const bool raw = row.scope == Scope::HEADPHONE || row.scope == Scope::SPEAKER;
        const int max = row.parameter == IEQ_ID ? 4 : row.max;  // the presets, off among them
        for (const auto& [asked, written] : {std::pair{-1000, row.min}, {1000, max}}) {
            const Values expected(length, raw ? asked : written);
            EXPECT_EQ(set(row.id, Values(length, asked)), expected);
            EXPECT_EQ(adapter.getParameter(0, row.id), expected);
            EXPECT_EQ(held(row.parameter), with(before, where, expected));
        }
        const bool own = row.scope == Scope::ENDPOINT || row.scope == Scope::STEERING;
        const auto written = held(row.parameter);
        const Values low(length, row.min);
        EXPECT_EQ(setOn(Endpoint::SPEAKER, row.id, low), own ? low : Values{});
        EXPECT_EQ(held(row.parameter), with(written, own ? "S" : "", low));
    }
}

TEST_F(ParameterAdapterTest, TheSourceDistanceIsFixedUnlessTheModeIs1) {
    const auto config = ADVANCED_HEADPHONE_VIRTUALIZER_RENDERING_CONFIG;
    const auto distance = HEADPHONE_VIRTUALIZER_STEERER_SOURCE_DISTANCE;
    EXPECT_THAT(setOn(Endpoint::HEADPHONE, 112, {50}), ElementsAre(50));
    EXPECT_THAT(adapter.getParameter(0, 112), ElementsAre(50)) << "which represents the profile";
    context.setProfileParameter(0, HEADPHONE_VIRTUALIZER_MODE, {2});
    context.setProfileParameter(0, config, {77, 1, 2, 3, 4, 5, 6, 7});
    EXPECT_THAT(adapter.getParameter(0, 112), ElementsAre(77));
    EXPECT_THAT(set(112, {1}), ElementsAre(4));
    EXPECT_THAT(context.getProfileParameter(0, config),
                ElementsAre(35, 32767, 32767, 32767, 0, 3, 3, 3));
    EXPECT_THAT(context.getProfileParameter(0, Endpoint::HEADPHONE, distance), ElementsAre(50));
    context.getProfile(0)->set(config, {});
    EXPECT_THAT(adapter.getParameter(0, 112), ElementsAre(35));
}

TEST_F(ParameterAdapterTest, AWrongNumberOfValuesAndUnknownParametersAreRefused) {
    const auto before = held(GEQ_GAIN);
    for (const size_t count : {0u, 1u, 19u, 21u, 10000u}) set(109, Values(count, 3));
    EXPECT_THAT(setOn(Endpoint::SPEAKER, 106, {1, 2}), ElementsAre(8));
    EXPECT_EQ(held(GEQ_GAIN), before);
    for (const int id : {116, 99, 0x7fffffff, -0x7fffffff - 1}) {
        EXPECT_THAT(set(id, {1}), ElementsAre(1));
        EXPECT_EQ(adapter.getParameterLength(id), 1);
        EXPECT_THAT(adapter.getParameter(0, id), IsEmpty());
        EXPECT_THAT(setOn(Endpoint::SPEAKER, id, {1}), IsEmpty());
    }
}

}  // namespace
}  // namespace velora
