#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tuning/TuningFileParser.h"

#include <filesystem>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Values = ParameterValues::Values;

class TuningFileParserTest : public testing::Test {
protected:
    void parse(const std::string& path) {
        LogCapture::clear();
        EXPECT_EQ(parser.setTuningFile(path), 0) << path;
        EXPECT_FALSE(parser.isParsed());
        parser.parseTuningFile();
        EXPECT_TRUE(parser.isParsed());
        text.clear();
        records = 0;
        add(data.getTunings());
        add(data.getDeviceTunings());
        add(data.getProfiles());
        add(data.getProfileEndpoints());
        add(data.getIeqPresets());
        add(data.getGeqPresets());
        said = LogCapture::lines();
        std::erase_if(said, [](const std::string& line) { return line.starts_with("D "); });
    }
    /// A file of this version, of which only the last number may have several digits.
    void parse(const std::string& version, const std::string& elements) {
        parse(dir.write("f.xml", "<root>\n" + elements + "<format_version major='" +
                                     version.substr(0, 1) + "' minor='" + version.substr(2, 1) +
                                     "' maintenance='" + version.substr(4) + "'/></root>"));
        EXPECT_EQ(data.getFormatVersion(), version);
    }

    template <typename Record>
    void add(const DeviceData::Records<Record>& list) {
        for (const Record* record : list) {
            std::istringstream lines(record->toString());
            for (std::string line; std::getline(lines, line);) {
                if (line != "id=-1" && !line.ends_with('=')) text += line + "\n";
            }
            text += "\n";
            ++records;
        }
    }

    /// Of each endpoint: its IEQ preset, whether IEQ is on, and how much.
    std::vector<Values> ieqSettings() const {
        std::vector<Values> all;
        for (const ProfileEndpoint* e : data.getProfileEndpoints())
            all.push_back(
                {e->getSelectedIeqPreset(), e->get(IEQ_ENABLE)[0], e->get(IEQ_AMOUNT)[0]});
        return all;
    }

    LogCapture log;
    TempDir dir;
    TuningFileParser parser;
    const DeviceData& data = *parser.getDeviceData();
    std::string text;  ///< of all records, without their rows and the values that they don't have
    int records = 0;   ///< how many there are
    std::vector<std::string> said;  ///< in the log, above debugging
};

TEST_F(TuningFileParserTest, TheSampleFileYieldsItsRecords) {
    parse(sourceFile("data/multimedia_velora_kiv_default.xml"));
    EXPECT_EQ(data.getFormatVersion() + " " + data.getToolVersion(), "3.4.0 2.6.1");
    EXPECT_EQ(records, 11 + 14 + 5 + 15 + 4 + 5);
    EXPECT_EQ(parser.getProfileName(4) + parser.getProfileName(5) + parser.getProfileName(-1),
              "Mobility");
    for (const ParameterInfo& info : kParameters) {
        if (info.parameter == IEQ_ID) continue;  // shown as the preset's number
        EXPECT_THAT(text, HasSubstr("\n" + std::string(info.column) + "="));
    }
    EXPECT_THAT(said, ElementsAre());
}

// Small files with one fault each; everything else in them is read as ever.
TEST_F(TuningFileParserTest, AFaultCostsWhatItTouchesAndIsNamed) {
    const std::string noData = "E TuningFileParser: There is no <data> in Tuning section";
    const std::string ieqOn = "selectedIeqPreset=0\nieq_amount=8,\nieq_enable=1,\n";
    const std::tuple<std::string, std::string, int, std::string> cases[] = {
        // file, what is logged, how many records there are, what they say
        {"band-with-foreign-name", "I ValueSetter: No attribute band_ieq was found!", 14,
         "\nieq_frequency=100,\nieq_target=-16,\n\n"},
        {"band-without-target", "", 14, "\nieq_frequency=100,1000,10000,\nieq_target=-16,\n"},
        {"comment-before-bands", "", 14, "name=detailed\n\n"},
        {"duplicate-profile-id", "W TuningFileParser: A second profile 0 is ignored", 15, ""},
        {"endpoint-type-unknown", "", 14, "bass_type=0,\nvolume_leveler_amount=7,\n\npresetId"},
        {"no-white-space", "", 13, "\npresetId=0\nname=off\n\npresetId=1\nname=detailed\n\n"},
        {"numbers-out-of-range", "", 14, "\nbass_enhancer_boost=0,\n"},
        {"parameter-in-wrong-record",
         "W TuningFileParser: tuning flat has no virtual_bass_enable, it is ignored", 14, ""},
        {"preset-name-unknown", "E TuningFileParser: name is invalid, 309", 14, ieqOn},
        {"preset-type-unknown", "", 14, "\nieq_target=-16,16,64,\n\nprofileId=0\ngeq_"},
        {"profile-missing", "", 10, ""},
        {"profile-without-endpoints", "", 14, ieqOn + "virtual_bass_type=1,\n"},
        {"quote-in-name", "", 16, "name=singer's headphone\n"},
        {"tuning-without-children", noData, 14, ""},
        {"tuning-without-data", noData, 14, ""},
        {"unknown-elements", "", 14, "\ngeq_frequency=100,1000,10000,\ngeq_gain=16,0,-8,\n"},
        {"version-missing", "", 14, "\nheadphone_virtualizer_mode=1,\n"},
    };
    for (const auto& [file, logged, count, holds] : cases) {
        SCOPED_TRACE(file);
        parse(sourceFile("tests/data/bad/" + file + ".xml"));
        EXPECT_EQ(records, count);
        EXPECT_THAT(text, HasSubstr(holds));
        EXPECT_EQ(said, std::vector<std::string>(logged.empty() ? 0 : 1, logged));
    }
    for (const std::string file : {"empty", "no-root", "not-xml", "truncated"}) {
        EXPECT_EQ(parser.setTuningFile(sourceFile("tests/data/bad/" + file + ".xml")), -22);
        parser.parseTuningFile();
        EXPECT_FALSE(parser.isParsed() || !data.getProfiles().empty()) << file;
    }
}

TEST_F(TuningFileParserTest, ElementsAreReadFromTheirAttributesRowsOrBands) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"calibration_boost=1,\n", {"<calibration-boost value='true'/>"}},
        {"calibration_boost=0,\n",
         {"<calibration-boost value='TRUE'/>", "<calibration-boost value=''/>",
          "<calibration-boost Value='5'/>", "<calibration-boost/>"}},
        {"calibration_boost=-3,\n", {"<calibration-boost value=' -3ab'/>"}},
        {"complex_equalizer_tuning_left=10,20,30,\n",
         {"<complex-equalizer-tuning-left row='10, 20,30' b='4'/>"}},
        {"custom_drc_metadata=0,\n", {"<drc-metadata/>", "<drc-metadata v='x'/>"}},
        {"custom_drc_metadata=4,5,\n", {"<drc-metadata v='4 5'/>"}},
        {"virtual_bass_subgains=1,-2,0,\n", {"<virtual-bass-subgains a='1' b='-2' c='z'/>"}},
        {"virtual_bass_src_freq_high=160,\nvirtual_bass_src_freq_low=90,\n",
         {"<virtual-bass-src-freqs frequency_high='160' frequency_low='90'/>"}},
        {"output_mix_matrix=1,2,3,\n",
         {"<output-mode>\n<m>\n<row v='1,2'/><!-- c -->\n<row/><row v='3' w='9'/></m>"
          "</output-mode>"}},
        {"",
         {"<bass-mbdrc-tuning/>", "<output-mode/>", "<output-mode>\n<m/></output-mode>",
          "<output-mode><m>\n<row v='1'/></m></output-mode>"}},
        {"audio_optimizer_frequency=100,200,\naudio_optimizer_gain_l=1,0,\n"
         "audio_optimizer_gain_r=2,4,\naudio_optimizer_gain_rs=6,\n",
         {"<audio-optimizer-bands>\n<b frequency='100' gain_left='1' gain_right='2'/>\n"
          "<b frequency='200' gain_right='4' gain_right_surround='6'/></audio-optimizer-bands>"}},
        {"regulator_frequency=100,0,\nregulator_isolated_band=1,0,\n"
         "regulator_threshold_high=-3,0,\nregulator_threshold_low=-9,0,\n",
         {"<regulator-tuning>\n<b frequency='100' threshold_low='-9' threshold_high='-3' "
          "isolated_band='true'/>\n<b isolated_band='1'/></regulator-tuning>"}},
    };
    const auto readEverywhere = [&](const std::string& element) {
        const std::string all = "\n" + element + "<row frequency='7' target='7'/>";
        parse("3.4.0", "<tuning name='t'>\n<data>" + all + "</data></tuning><profile id='0'>" +
                           all + "<endpoint_type id='speaker'>" + all +
                           "</endpoint_type></profile>");
        return text;
    };
    const std::string nothing = readEverywhere("");
    for (const auto& [values, elements] : cases) {
        for (const std::string& element : elements) {
            EXPECT_EQ(readEverywhere(element) == nothing, values.empty()) << element;
            EXPECT_THAT(text, HasSubstr("\n" + values)) << element;
        }
    }
}

TEST_F(TuningFileParserTest, VersionsDecideHowPresetsAreNamedAndWhatIsMissing) {
    const std::string elements =
        "<preset id='warm' name='Own name' type='ieq'/><profile id='0' group='mobility'>\n"
        "<include preset='balanced'/><endpoint_type id='headphone'>\n"
        "<include ieq_preset='detailed'/></endpoint_type></profile>";
    const std::string named = "presetId=3\nname=warm\n\n";
    const std::string numbered = "presetId=0\nname=Own name\n\n";
    const std::string noReverb = "reverb_suppression_amount=0,\nreverb_suppression_enable=0,\n";
    const std::string mode = "headphone_virtualizer_mode=1,\n";
    const std::tuple<const char*, std::string, const char*, int, std::string> cases[] = {
        {"3.2.1", named, "false", 2, mode + noReverb},   {"3.3.0", named, "true", 0, mode},
        {"3.3.10", numbered, "true", 0, mode},           {"3.4.0", numbered, "true", 0, ""},
        {"3.1.9", numbered, "true", 0, mode + noReverb},
    };
    for (const auto& [version, preset, mobility, included, missing] : cases) {
        SCOPED_TRACE(version);
        parse(version, elements);
        EXPECT_THAT(text, HasSubstr(preset));
        EXPECT_THAT(text, HasSubstr("profileId=0\nmobility=" + std::string(mobility) +
                                    "\nselectedGeqPreset=0\n" + missing + "\n"));
        const Values fromProfile{included, included != 0, 0};
        EXPECT_THAT(ieqSettings(), ElementsAre(Values{1, 1, 0}, fromProfile, fromProfile));
    }
    parse("3.2.0", "<profile id='0'>\n<reverb-suppression-amount value='5'/></profile>");
    EXPECT_THAT(text, HasSubstr("reverb_suppression_amount=5,"));
}

TEST_F(TuningFileParserTest, EndpointsTakeTheirIeqSettingsFromTheProfileUnlessTheyHaveTheirOwn) {
    parse("3.4.0",
          "<profile id='0'>\n<endpoint_type id='speaker'>\n<include preset='warm'/>"
          "<ieq-amount value='3'/></endpoint_type><endpoint_type id='headphone'>\n"
          "<include preset='warm'/><ieq-enable value='true'/></endpoint_type>"
          "<endpoint_type id='headphone'>\n<include preset='balanced'/></endpoint_type>"
          "<ieq-enable value='false'/><ieq-amount value='9'/></profile><profile id='1'>\n"
          "<endpoint_type id='speaker'>\n<include preset='warm'/></endpoint_type></profile>");
    EXPECT_THAT(ieqSettings(), ElementsAre(Values{3, 0, 3}, Values{3, 1, 9}, Values{0, 0, 9},
                                           Values{3, 1, 0}, Values{0, 0, 0}, Values{0, 0, 0}));
    EXPECT_TRUE(text.ends_with("\nprofileId=0\n\nprofileId=1\n\n")) << "empty GEQ presets";
    parser.getDeviceData()->validateData();
    EXPECT_EQ(ieqSettings()[0], (Values{0, 0, 3})) << "the off preset where IEQ is off";
    EXPECT_EQ(ieqSettings()[1], (Values{3, 1, 9}));
    EXPECT_THAT(said, ElementsAre("W TuningFileParser: A second headphone endpoint of profile 0 is "
                                  "ignored"));
}

TEST_F(TuningFileParserTest, TuningsHaveShortNamesOfTheirOwnAndAttributesInWordsOrNumbers) {
    parse("3.4.0",
          "<tuning name='" + std::string(256, 'n') + "'>\n<x/></tuning>" +
              "<tuning name='c'>\n<device_id id='lost'/></tuning>"  // its name is free again
              "<tuning name='a&#10;b' endpoint_type='other' mono_device='true' orientation='3' "
              "output_channels='4'>\n<device_id id='d&#10;1' endpoint_port='hdmi&#10;'/><x/>"
              "<device_id id='late'/></tuning>"
              "<tuning name='c' endpoint_type='Speaker' mono_device='True' orientation='Portrait'>"
              "\n<data/></tuning><tuning name='c' mono_device='true'>\n"
              "<device_id id='second' endpoint_port='usb'/><x/></tuning>");
    EXPECT_EQ(text,
              "name=a b\nendpoint=other\nmono=true\nreadonly=true\norientation=3,\n"
              "output_channels=4,\n\n"
              "name=c\nendpoint=speaker\nmono=false\nreadonly=true\norientation=0,\n"
              "output_channels=0,\n\n"
              "device=d 1\nport=hdmi \ntuning=a b\n\ndevice=second\nport=usb\ntuning=c\n\n");
    EXPECT_THAT(said,
                ElementsAre("W TuningFileParser: A tuning is ignored: its name has 256 bytes, "
                            "more than 255",
                            "E TuningFileParser: There is no <data> in Tuning section",
                            "W TuningFileParser: A second tuning c is ignored"));
}

TEST_F(TuningFileParserTest, MissingNumbersAreNamed) {
    parse("3.4.0",
          "<profile id='1'/><profile id='0'/><profile id='7'/><preset type='ieq' id='1'/>"
          "<preset type='ieq' id='2'/><preset type='ieq' id='9'/><preset type='ieq' id='4'/>");
    const std::string rest = " is missing, and a higher number is out of reach";
    EXPECT_THAT(said, ElementsAre("W TuningFileParser: profile 2" + rest,
                                  "W TuningFileParser: IEQ preset 3" + rest));
}

}  // namespace
}  // namespace velora::test
