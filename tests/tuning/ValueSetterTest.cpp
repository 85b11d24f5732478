#include "model/Tuning.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tuning/ValueSetter.h"

#include <gtest/gtest.h>

namespace velora::test {
namespace {

class ValueSetterTest : public testing::Test {
protected:
    /// The values that an element's setter, or another one, makes of it and not of what follows.
    std::string read(const std::string& element, std::string_view setterName = {}) {
        Tuning record("t", Endpoint::SPEAKER, false);
        TagIterator it;
        it.init(dir.write("f.xml", "<r>\n" + element + "<row frequency='7' target='7'/></r>"));
        it.next();
        const std::string name(it.getNodeName());
        setters.getValueSetter(setterName.empty() ? name : setterName)->set(record, it);
        EXPECT_EQ(it.getNodeName(), name);  // back where it was
        return record.valuesToString();
    }

    LogCapture log;
    TempDir dir;
    const SetterCollection setters;
};

TEST_F(ValueSetterTest, ElementsAreReadFromTheirAttributesRowsOrBands) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"calibration_boost=1,\n", {"<calibration-boost value='true'/>"}},
        {"calibration_boost=0,\n",
         {"<calibration-boost value='TRUE'/>", "<calibration-boost value=''/>",
          "<calibration-boost Value='5'/>", "<calibration-boost/>"}},
        {"calibration_boost=-3,\n", {"<calibration-boost value=' -3ab'/>"}},
        {"complex_equalizer_tuning_left=10,20,30,\n",
         {"<complex-equalizer-tuning-left row='10, 20,30' b='4'/>"}},
        {"bass_mbdrc_tuning=\n", {"<bass-mbdrc-tuning/>"}},
        {"custom_drc_metadata=0,\n", {"<drc-metadata/>", "<drc-metadata v='x'/>"}},
        {"custom_drc_metadata=4,5,\n", {"<drc-metadata v='4 5'/>"}},
        {"virtual_bass_subgains=1,-2,0,\n", {"<virtual-bass-subgains a='1' b='-2' c='z'/>"}},
        {"virtual_bass_src_freq_high=160,\nvirtual_bass_src_freq_low=90,\n",
         {"<virtual-bass-src-freqs frequency_high='160' frequency_low='90'/>"}},
        {"output_mix_matrix=1,2,3,\n",
         {"<output-mode>\n<m>\n<row v='1,2'/><!-- c -->\n<row/><row v='3' w='9'/></m>"
          "</output-mode>"}},
        {"output_mix_matrix=\n",
         {"<output-mode/>", "<output-mode>\n<m/></output-mode>",
          "<output-mode><m>\n<row v='1'/></m></output-mode>"}},
        {"audio_optimizer_frequency=100,200,\naudio_optimizer_gain_l=1,0,\n"
         "audio_optimizer_gain_ls=\naudio_optimizer_gain_r=2,4,\naudio_optimizer_gain_rs=6,\n",
         {"<audio-optimizer-bands>\n<b frequency='100' gain_left='1' gain_right='2'/>\n"
          "<b frequency='200' gain_right='4' gain_right_surround='6'/></audio-optimizer-bands>"}},
        {"regulator_frequency=100,0,\nregulator_isolated_band=1,0,\n"
         "regulator_threshold_high=-3,0,\nregulator_threshold_low=-9,0,\n",
         {"<regulator-tuning>\n<b frequency='100' threshold_low='-9' threshold_high='-3' "
          "isolated_band='true'/>\n<b isolated_band='1'/></regulator-tuning>"}},
    };
    for (const auto& [values, elements] : cases) {
        for (const char* element : elements) EXPECT_EQ(read(element), values) << element;
    }
}

TEST_F(ValueSetterTest, PresetBandsStandThreeLevelsDown) {
    const auto preset = [](const std::string& bands) {
        return "<preset>\n<data>\n<bands>\n" + bands + "</bands></data></preset>";
    };
    EXPECT_EQ(read(preset("<band_ieq frequency='100' target='1'/><!-- c -->\n"
                          "<band_ieq frequency='200'/><band_ieq frequency='300' target='3'/>"
                          "<other/><band_ieq frequency='400' target='4'/>"),
                   "ieq"),
              "ieq_frequency=100,200,300,\nieq_target=1,\n");  // ended by the band without one
    EXPECT_EQ(log.count("I ValueSetter: No attribute band_ieq was found!"), 1U);
    EXPECT_EQ(read(preset("<x frequency='100' gain='1'/><y gain='-2' frequency='200'/>"), "geq"),
              "geq_frequency=100,200,\ngeq_gain=1,-2,\n");
    for (const char* shallow : {"<preset/>", "<preset>\n<data>\n<bands/></data></preset>"})
        EXPECT_EQ(read(shallow, "ieq"), "ieq_frequency=\nieq_target=\n") << shallow;
}

}  // namespace
}  // namespace velora::test
