#include "service/ParameterAdapter.h"
#include "tests/context/ContextFixture.h"

namespace velora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Values = SndContext::Values;

/// Where parameters of a scope are kept: on the speaker's, headphone's and other endpoint (S, H,
/// O), on the profile (P), on its GEQ preset (G).
constexpr char kHolders[] = "SHOPG";
std::string_view holdersOf(const AdapterParameter& row) {
    if (row.id == kVirtualBassEnable) return "S";  // refused on the others
    if (row.scope == Scope::HEADPHONE) return "H";
    if (row.scope == Scope::SPEAKER) return "S";
    if (row.scope == Scope::PROFILE) return "P";
    return row.scope == Scope::GEQ_PRESET ? "G" : "SHO";
}

class ParameterAdapterTest : public test::ContextFixture {
protected:
    std::vector<Values> held(Parameter parameter) {
        std::vector<Values> values;
        for (const Endpoint endpoint : kEndpoints) {
            values.push_back(context.getProfileParameter(0, endpoint, parameter));
        }
        values.push_back(context.getProfileParameter(0, parameter));
        values.push_back(context.getProfileGeqParameter(0, parameter));
        return values;
    }
    /// `before` with `values` at the holders of `where`.
    static std::vector<Values> with(std::vector<Values> before, std::string_view where,
                                    const Values& values) {
        for (size_t i = 0; i < before.size(); ++i) {
            if (where.find(kHolders[i]) != where.npos) before[i] = values;
        }
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
        const std::string_view where = holdersOf(row);
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
