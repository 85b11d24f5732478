#include "model/Tuning.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tuning/ValueSetter.h"

#include <gtest/gtest.h>

namespace velora::test {
namespace {

using Values = ParameterValues::Values;

class ValueSetterTest : public testing::Test {
protected:
    /// What the setter of an element makes of it. `setterName` where it isn't the element's own
    /// name.
    const Tuning& read(std::string_view element, std::string_view setterName = {}) {
        record = Tuning("t", Endpoint::SPEAKER, false);
        TagIterator it;
        EXPECT_EQ(
            it.init(dir.write("f.xml", "<r>\n" + std::string(element) +
                                           "<row v='7'/><band_ieq frequency='7' target='7'/></r>")),
            0);
        it.next();
        const std::string name(it.getNodeName());
        setters.getValueSetter(setterName.empty() ? name : setterName)->set(record, it);
        EXPECT_EQ(it.getNodeName(), name);  // back where it was
        return record;
    }

    LogCapture log;
    TempDir dir;
    const SetterCollection setters;
    Tuning record{"t", Endpoint::SPEAKER, false};
};

TEST_F(ValueSetterTest, EachElementHasItsSetterAndOthersHaveNone) {
    EXPECT_EQ(setters.size(), 89U);
    for (const ParameterInfo& info : kParameters) {
        if (info.element.empty()) continue;
        ASSERT_NE(setters.getValueSetter(info.element), nullptr) << info.element;
        EXPECT_EQ(setters.getValueSetter(info.element)->getNodeName(), info.element);
    }
    for (const char* name :
         {"virtual-bass-enable", "custom-drc-metadata", "ieq-id", "orientation", ""}) {
        EXPECT_EQ(setters.getValueSetter(name), nullptr) << name;
    }
}

TEST_F(ValueSetterTest, SingleValuesAreWordsOrNumbers) {
    const std::pair<const char*, int> cases[] = {
        {"value='true'", 1},
        {"value='false'", 0},
        {"value='7abc'", 7},
        {"value=' -3'", -3},
        {"value='TRUE'", 0},
        {"value=''", 0},
        {"", 0},
        {"Value='5'", 0},
    };
    for (const auto& [attributes, value] : cases) {
        const auto& values = read("<calibration-boost " + std::string(attributes) + "/>");
        EXPECT_EQ(*values.find(CALIBRATION_BOOST), Values{value}) << attributes;
        EXPECT_EQ(values.size(), 1U);
    }
}

TEST_F(ValueSetterTest, RowsAreTheNumbersOfTheFirstAttribute) {
    EXPECT_EQ(read("<complex-equalizer-tuning-left row='10, 20,30' b='4'/>")
                  .get(COMPLEX_EQUALIZER_TUNING_LEFT),
              (Values{10, 20, 30}));
    EXPECT_EQ(*read("<bass-mbdrc-tuning/>").find(BASS_MBDRC_TUNING), Values{});
    EXPECT_EQ(read("<drc-metadata/>").get(CUSTOM_DRC_METADATA), Values{0});
    EXPECT_EQ(read("<drc-metadata v='x'/>").get(CUSTOM_DRC_METADATA), Values{0});
    EXPECT_EQ(read("<drc-metadata v='4 5'/>").get(CUSTOM_DRC_METADATA), (Values{4, 5}));
    EXPECT_EQ(read("<virtual-bass-subgains a='1' b='-2' c='z'/>").get(VIRTUAL_BASS_SUBGAINS),
              (Values{1, -2, 0}));
    const auto& pair = read("<virtual-bass-src-freqs frequency_high='160' frequency_low='90'/>");
    EXPECT_EQ(pair.get(VIRTUAL_BASS_SRC_FREQ_LOW), Values{90});
    EXPECT_EQ(pair.get(VIRTUAL_BASS_SRC_FREQ_HIGH), Values{160});
}

TEST_F(ValueSetterTest, MatrixRowsFollowOneAnother) {
    EXPECT_EQ(read("<output-mode>\n<m>\n<row v='1,2'/><!-- c -->\n<row/><row v='3' "
                   "w='9'/></m></output-mode>")
                  .get(OUTPUT_MIX_MATRIX),
              (Values{1, 2, 3}));
    for (const char* element : {"<output-mode/>", "<output-mode>\n<m/></output-mode>",
                                "<output-mode><m>\n<row v='1'/></m></output-mode>",
                                "<output-mode>\n<m> </m></output-mode>"}) {
        EXPECT_EQ(*read(element).find(OUTPUT_MIX_MATRIX), Values{}) << element;
    }
}

TEST_F(ValueSetterTest, PresetBandsStandThreeLevelsDown) {
    const auto preset = [](const std::string& bands) {
        return "<preset>\n<data>\n<bands>\n" + bands + "</bands></data></preset>";
    };
    const auto& ieq =
        read(preset("<band_ieq frequency='100' target='1'/><!-- c -->\n"
                    "<band_ieq frequency='200'/><band_ieq frequency='300' target='3'/>"
                    "<other/><band_ieq frequency='400' target='4'/>"),
             "ieq");
    EXPECT_EQ(ieq.get(IEQ_FREQUENCY), (Values{100, 200, 300}));
    EXPECT_EQ(ieq.get(IEQ_TARGET), Values{1});  // ended by the band without one
    EXPECT_EQ(log.count("I ValueSetter: No attribute band_ieq was found!"), 1U);
    const auto& geq =
        read(preset("<x frequency='100' gain='1'/><y gain='-2' frequency='200'/>"), "geq");
    EXPECT_EQ(geq.get(GEQ_FREQUENCY), (Values{100, 200}));
    EXPECT_EQ(geq.get(GEQ_GAIN), (Values{1, -2}));
    for (const char* shallow : {"<preset/>", "<preset>\n<data/></preset>",
                                "<preset>\n<data>\n<bands/></data></preset>"}) {
        EXPECT_EQ(*read(shallow, "ieq").find(IEQ_FREQUENCY), Values{}) << shallow;
    }
}

TEST_F(ValueSetterTest, TuningBandsStandOneLevelDown) {
    const auto& optimizer = read(
        "<audio-optimizer-bands>\n<b frequency='100' gain_left='1' gain_right='2'/>\n"
        "<b frequency='200' gain_right='4' gain_right_surround='6'/></audio-optimizer-bands>");
    EXPECT_EQ(optimizer.get(AUDIO_OPTIMIZER_FREQUENCY), (Values{100, 200}));
    EXPECT_EQ(optimizer.get(AUDIO_OPTIMIZER_GAIN_L), (Values{1, 0}));
    EXPECT_EQ(optimizer.get(AUDIO_OPTIMIZER_GAIN_R), (Values{2, 4}));
    EXPECT_EQ(*optimizer.find(AUDIO_OPTIMIZER_GAIN_LS), Values{});
    EXPECT_EQ(optimizer.get(AUDIO_OPTIMIZER_GAIN_RS), Values{6});

    const auto& regulator = read(
        "<regulator-tuning>\n<b frequency='100' threshold_low='-9' threshold_high='-3' "
        "isolated_band='true'/>\n<b isolated_band='1'/></regulator-tuning>");
    EXPECT_EQ(regulator.get(REGULATOR_FREQUENCY), (Values{100, 0}));
    EXPECT_EQ(regulator.get(REGULATOR_THRESHOLD_LOW), (Values{-9, 0}));
    EXPECT_EQ(regulator.get(REGULATOR_THRESHOLD_HIGH), (Values{-3, 0}));
    EXPECT_EQ(regulator.get(REGULATOR_ISOLATED_BAND), (Values{1, 0}));
}

}  // namespace
}  // namespace velora::test
