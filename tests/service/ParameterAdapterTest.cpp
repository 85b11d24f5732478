#include "service/ParameterAdapter.h"
#include "tests/context/ContextFixture.h"

namespace velora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Values = SndContext::Values;

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
