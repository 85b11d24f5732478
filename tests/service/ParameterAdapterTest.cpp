#include "service/ParameterAdapter.h"
#include "tests/context/ContextFixture.h"

namespace velora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Values = SndContext::Values;

class ParameterAdapterTest : public test::ContextFixture {
protected:
    /// What the context holds: per endpoint, or on the profile or its GEQ preset.
    std::vector<Values> held(const AdapterParameter& row) {
        const auto on = [&](Endpoint e) {
            return context.getProfileParameter(0, e, row.parameter);
        };
        switch (row.scope) {
            case Scope::PROFILE:
                return {context.getProfileParameter(0, row.parameter)};
            case Scope::GEQ_PRESET:
                return {context.getProfileGeqParameter(0, row.parameter)};
            default:
                break;
        }
        return {on(Endpoint::SPEAKER), on(Endpoint::HEADPHONE), on(Endpoint::OTHER)};
    }

    Values set(int id, Values values) {
        adapter.setParameter(0, id, values);
        return values;
    }

    SndContext& context = restart();
    ParameterAdapter adapter{&context};
};

TEST_F(ParameterAdapterTest, EveryParameterIsBroughtIntoItsRangeAndWrittenWhereItLives) {
    const int max = 4;  // IEQ presets of the sample, off among them
    const std::pair<int, int> ranges[] = {{0, 1},   {0, 1},  {0, 1},  {0, max},    {0, 1}, {0, 1},
                                          {0, 16},  {0, 16}, {0, 16}, {-576, 576}, {0, 1}, {0, 1},
                                          {4, 160}, {0, 1},  {0, 9},  {0, 10}};
    for (const AdapterParameter& row : kAdapterParameters) {
        SCOPED_TRACE(row.id);
        const auto [low, high] = ranges[row.id - 100];
        for (const auto& [asked, written] : {std::pair{-1000, low}, {1000, high}, {low, low}}) {
            const bool oneEndpoint = row.scope == Scope::HEADPHONE || row.scope == Scope::SPEAKER;
            const auto before = held(row);
            const Values values(static_cast<size_t>(row.length), asked);
            const Values expected(values.size(), oneEndpoint ? asked : written);
            EXPECT_EQ(set(row.id, values), expected);
            EXPECT_EQ(adapter.getParameter(0, row.id), expected);
            for (size_t i = 0; i < before.size(); ++i) {
                const bool concerned = row.parameter == VIRTUAL_BASS_ENABLE
                                           ? i == 0  // refused on the others
                                       : row.scope == Scope::SPEAKER   ? i == 0
                                       : row.scope == Scope::HEADPHONE ? i == 1
                                                                       : true;
                EXPECT_EQ(held(row)[i], concerned ? expected : before[i]);
            }
        }
        EXPECT_EQ(adapter.getParameterLength(row.id), row.id == 109 ? 20 : 1);
    }
    EXPECT_EQ(log.count("W SndContext: Setting virtual-bass-enable is not supported for "
                        "non-speaker endpoints"),
              6u);
}

TEST_F(ParameterAdapterTest, OneEndpointIsWrittenAloneWhereItHasItsOwn) {
    for (const AdapterParameter& row : kAdapterParameters) {
        SCOPED_TRACE(row.id);
        const bool own = row.scope == Scope::ENDPOINT || row.scope == Scope::STEERING;
        const auto before = held(row);
        Values values(static_cast<size_t>(row.length), 5);
        adapter.setProfileEndpointParameter(0, Endpoint::SPEAKER, row.id, values);
        EXPECT_EQ(adapter.getProfileEndpointParameter(0, Endpoint::SPEAKER, row.id),
                  own ? values : Values{});
        auto expected = before;
        if (own) expected[0] = values;
        EXPECT_EQ(held(row), expected);
    }
}

TEST_F(ParameterAdapterTest, TheSourceDistanceIsFixedOutsideOfMode1) {
    const Values rendering{35, 32767, 32767, 32767, 0, 3, 3, 3};
    const auto config = ADVANCED_HEADPHONE_VIRTUALIZER_RENDERING_CONFIG;
    const auto distance = HEADPHONE_VIRTUALIZER_STEERER_SOURCE_DISTANCE;
    EXPECT_THAT(set(112, {50}), ElementsAre(50));
    for (const Endpoint endpoint : kEndpoints) {
        EXPECT_THAT(context.getProfileParameter(0, endpoint, distance), ElementsAre(50));
    }
    context.setProfileParameter(0, HEADPHONE_VIRTUALIZER_MODE, {0});
    context.setProfileParameter(0, config, {77, 1, 2, 3, 4, 5, 6, 7});
    EXPECT_THAT(adapter.getParameter(0, 112), ElementsAre(77));
    EXPECT_THAT(adapter.getProfileEndpointParameter(0, Endpoint::OTHER, 112), ElementsAre(77));
    EXPECT_THAT(set(112, {1}), ElementsAre(4));
    EXPECT_EQ(context.getProfileParameter(0, config), rendering);
    EXPECT_THAT(context.getProfileParameter(0, Endpoint::HEADPHONE, distance), ElementsAre(50));
    EXPECT_THAT(adapter.getParameter(0, 112), ElementsAre(35));
    context.getProfile(0)->set(config, {});
    EXPECT_THAT(adapter.getParameter(0, 112), ElementsAre(35));
}

TEST_F(ParameterAdapterTest, NumbersWithoutARowAreLoggedByAllButTheSetters) {
    for (const int id : {116, 99, -1, 0x7fffffff, -0x7fffffff - 1}) {
        log.clear();
        EXPECT_EQ(adapter.getParameterLength(id), 1);
        EXPECT_THAT(adapter.getParameter(0, id), IsEmpty());
        EXPECT_THAT(adapter.getProfileEndpointParameter(0, Endpoint::SPEAKER, id), IsEmpty());
        EXPECT_EQ(
            log.count("E ParameterAdapter: param id " + std::to_string(id) + " not supported"), 3u);
        log.clear();
        EXPECT_THAT(set(id, {1}), ElementsAre(1));
        Values values{1};
        adapter.setProfileEndpointParameter(0, Endpoint::SPEAKER, id, values);
        EXPECT_THAT(log.lines(), IsEmpty());
    }
}

}  // namespace

}  // namespace velora
