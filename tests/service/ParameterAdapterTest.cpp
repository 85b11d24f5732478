#include "service/ParameterAdapter.h"
#include "tests/context/ContextFixture.h"

namespace velora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Values = SndContext::Values;

enum Where { PROFILE, GEQ, SPEAKER_ONLY, HEADPHONE_ONLY, EVERY };

/// What clients are told of each parameter.
struct Documented {
    int id;
    Parameter parameter;
    Where where;
    int min, max;
    int length = 1;
};
constexpr Documented kDocumented[] = {
    {100, VIRTUALIZER_ENABLE, HEADPHONE_ONLY, 0, 1},
    {101, VIRTUALIZER_ENABLE, SPEAKER_ONLY, 0, 1},
    {102, VOLUME_LEVELER_ENABLE, EVERY, 0, 1},
    {103, IEQ_ID, EVERY, 0, 4},  // the presets of the sample, off among them
    {104, DIALOG_ENHANCER_ENABLE, EVERY, 0, 1},
    {105, GRAPHIC_EQUALIZER_ENABLE, EVERY, 0, 1},
    {106, IEQ_AMOUNT, EVERY, 0, 16},
    {107, DIALOG_ENHANCER_AMOUNT, EVERY, 0, 16},
    {108, DIALOG_ENHANCER_DUCKING, EVERY, 0, 16},
    {109, GEQ_GAIN, GEQ, -576, 576, 20},
    {110, BASS_ENHANCER_ENABLE, EVERY, 0, 1},
    {111, VIRTUAL_BASS_ENABLE, SPEAKER_ONLY, 0, 1},  // refused on the others
    {112, HEADPHONE_VIRTUALIZER_STEERER_SOURCE_DISTANCE, EVERY, 4, 160},
    {113, REVERB_SUPPRESSION_ENABLE, PROFILE, 0, 1},
    {114, REVERB_SUPPRESSION_AMOUNT, PROFILE, 0, 9},
    {115, VOLUME_LEVELER_AMOUNT, EVERY, 0, 10},
};

class ParameterAdapterTest : public test::ContextFixture {
protected:
    /// What the context holds: on the endpoints, the profile, its GEQ preset.
    std::vector<Values> held(Parameter parameter) {
        std::vector<Values> values;
        for (const Endpoint endpoint : kEndpoints) {
            values.push_back(context.getProfileParameter(0, endpoint, parameter));
        }
        values.push_back(context.getProfileParameter(0, parameter));
        values.push_back(context.getProfileGeqParameter(0, parameter));
        return values;
    }
    /// The same with `values` where they belong.
    static std::vector<Values> with(std::vector<Values> held, Where where, const Values& values) {
        if (where == SPEAKER_ONLY || where == EVERY) held[0] = values;
        if (where == HEADPHONE_ONLY || where == EVERY) held[1] = values;
        if (where == EVERY) held[2] = values;
        if (where == PROFILE) held[3] = values;
        if (where == GEQ) held[4] = values;
        return held;
    }

    Values set(int id, Values values) {
        adapter.setParameter(0, id, values);
        return values;
    }

    SndContext& context = restart();
    ParameterAdapter adapter{&context};
};

TEST_F(ParameterAdapterTest, EveryParameterIsBroughtIntoItsRangeAndWrittenWhereItLives) {
    for (const Documented& row : kDocumented) {
        SCOPED_TRACE(row.id);
        const auto before = held(row.parameter);
        for (const auto& [asked, written] :
             {std::pair{-1000, row.min}, {1000, row.max}, {row.min, row.min}}) {
            const bool raw = row.id == 100 || row.id == 101;
            const Values expected(static_cast<size_t>(row.length), raw ? asked : written);
            EXPECT_EQ(set(row.id, Values(expected.size(), asked)), expected);
            EXPECT_EQ(adapter.getParameter(0, row.id), expected);
            EXPECT_EQ(held(row.parameter), with(before, row.where, expected));
        }
        EXPECT_EQ(adapter.getParameterLength(row.id), row.length);
    }
    EXPECT_EQ(log.count("W SndContext: Setting virtual-bass-enable is not supported for "
                        "non-speaker endpoints"),
              6u);
}

TEST_F(ParameterAdapterTest, OneEndpointIsWrittenAloneWhereItHasItsOwn) {
    for (const Documented& row : kDocumented) {
        SCOPED_TRACE(row.id);
        const bool own = row.where == EVERY || row.parameter == VIRTUAL_BASS_ENABLE;
        const auto before = held(row.parameter);
        Values values(static_cast<size_t>(row.length), 5);
        adapter.setProfileEndpointParameter(0, Endpoint::SPEAKER, row.id, values);
        EXPECT_EQ(adapter.getProfileEndpointParameter(0, Endpoint::SPEAKER, row.id),
                  own ? values : Values{});
        EXPECT_EQ(held(row.parameter), own ? with(before, SPEAKER_ONLY, values) : before);
    }
    Values distance{77};
    adapter.setProfileEndpointParameter(0, Endpoint::HEADPHONE, 112, distance);
    EXPECT_EQ(adapter.getParameter(0, 112), distance) << "the headphone's stands for the profile's";
}

TEST_F(ParameterAdapterTest, TheSourceDistanceIsFixedOutsideOfMode1) {
    const Values rendering{35, 32767, 32767, 32767, 0, 3, 3, 3};
    const auto config = ADVANCED_HEADPHONE_VIRTUALIZER_RENDERING_CONFIG;
    const auto distance = HEADPHONE_VIRTUALIZER_STEERER_SOURCE_DISTANCE;
    EXPECT_THAT(set(112, {50}), ElementsAre(50));
    for (const Endpoint endpoint : kEndpoints) {
        EXPECT_THAT(context.getProfileParameter(0, endpoint, distance), ElementsAre(50));
    }
    context.setProfileParameter(0, HEADPHONE_VIRTUALIZER_MODE, {2});
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

TEST_F(ParameterAdapterTest, AnotherNumberOfValuesIsRefused) {
    const Values gains = context.getProfileGeqParameter(0, GEQ_GAIN);
    for (const size_t count : {0u, 1u, 19u, 21u, 10000u}) set(109, Values(count, 3));
    for (const size_t count : {0u, 2u}) set(100, Values(count, 0));
    Values two{1, 2};
    adapter.setProfileEndpointParameter(0, Endpoint::SPEAKER, 106, two);
    EXPECT_EQ(adapter.getParameter(0, 109), gains);
    EXPECT_THAT(adapter.getParameter(0, 100), ElementsAre(1));
    EXPECT_THAT(adapter.getParameter(0, 106), ElementsAre(8));
    EXPECT_EQ(log.count("E ParameterAdapter: param id 109 takes 20 values, not 19"), 1u);
    EXPECT_EQ(log.count("E ParameterAdapter: ..."), 8u);
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
