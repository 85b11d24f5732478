#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tuning/TagIterator.h"
#include "tuning/TuningFileParser.h"

#include <sstream>

#include <gmock/gmock.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class TuningFileParserTest : public testing::Test {
protected:
    void parse(const std::string& path) {
        LogCapture::clear();
        ASSERT_EQ(parser.setTuningFile(path), 0) << path;
        parser.parseTuningFile();
        text.clear();
        records = 0;
        add(data.getTunings());
        add(data.getDeviceTunings());
        add(data.getProfiles());
        add(data.getProfileEndpoints());
        add(data.getIeqPresets());
        add(data.getGeqPresets());
        logged = LogCapture::lines();
        std::erase_if(logged, [](const std::string& line) { return line.starts_with("D "); });
    }
    /// Parses a file of the version 3.<minor>.<maintenance>.
    void parseElements(const std::string& elements, const std::string& minor = "4",
                       const std::string& maintenance = "0") {
        parse(dir.write("f.xml", "<root>\n" + elements + "<format_version major='3' minor='" +
                                     minor + "' maintenance='" + maintenance + "'/></root>"));
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

    /// The first value of a parameter of each endpoint; the selected IEQ preset for IEQ_ID.
    std::vector<int> ofEndpoints(Parameter parameter) const {
        std::vector<int> all;
        for (const auto* endpoint : data.getProfileEndpoints()) {
            all.push_back(parameter == IEQ_ID ? endpoint->getSelectedIeqPreset()
                                              : endpoint->firstOf(parameter, -1));
        }
        return all;
    }

    LogCapture log;
    TempDir dir;
    TuningFileParser parser;
    const DeviceData& data = *parser.getDeviceData();
    /// All records, without their rowids and the parameters that have no values.
    std::string text;
    int records = 0;
    std::vector<std::string> logged;  ///< lines above debug priority
};

TEST_F(TuningFileParserTest, TheSampleFileYieldsItsRecords) {
    parse(sourceFile("data/multimedia_velora_kiv_default.xml"));
    EXPECT_EQ(data.getFormatVersion(), "3.4.0");
    EXPECT_EQ(records, 54);
    for (const ParameterInfo& info : kParameters) {
        if (info.parameter == IEQ_ID) continue;  // shown as the preset's number
        EXPECT_THAT(text, HasSubstr("\n" + std::string(info.column) + "="));
    }
    EXPECT_THAT(logged, ElementsAre());
}

// Each file has one fault, and has 14 records without it.
TEST_F(TuningFileParserTest, AFaultAffectsOnlyItsElement) {
    struct Case {
        std::string file;
        std::string holds = {};   ///< a part of the records' text
        std::string logged = {};  ///< with the tag; none if empty
    };
    const Case cases[] = {
        {.file = "band-with-foreign-name",
         .holds = "\nieq_frequency=100,\nieq_target=-16,\n\n",
         .logged = "I ValueSetter: No attribute band_ieq was found!"},
        {.file = "duplicate-profile-id",
         .logged = "W TuningFileParser: A second profile 0 is ignored"},
        {.file = "endpoint-type-unknown", .holds = "volume_leveler_amount=7,\n\npresetId"},
        {.file = "parameter-in-wrong-record",
         .logged = "W TuningFileParser: tuning flat has no virtual_bass_enable, it is ignored"},
        {.file = "preset-name-unknown",
         .holds = "selectedIeqPreset=0\nieq_amount=8,\nieq_enable=1,\n",
         .logged = "E TuningFileParser: name is invalid, 309"},
        {.file = "preset-type-unknown", .holds = "\nieq_target=-16,16,64,\n\nprofileId=0\ngeq_"},
        {.file = "version-missing", .holds = "\nheadphone_virtualizer_mode=1,\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        parse(sourceFile("tests/data/bad/" + c.file + ".xml"));
        EXPECT_GE(records, 14);
        EXPECT_THAT(text, HasSubstr(c.holds));
        EXPECT_EQ(logged, std::vector<std::string>(c.logged.empty() ? 0 : 1, c.logged));
    }
}

TEST_F(TuningFileParserTest, AFileThatIsNotXmlYieldsNothing) {
    parse(sourceFile("data/minimal.xml"));
    EXPECT_TRUE(parser.isParsed());
    EXPECT_EQ(parser.setTuningFile(sourceFile("tests/data/bad/truncated.xml")), -22);
    parser.parseTuningFile();
    EXPECT_FALSE(parser.isParsed());
    EXPECT_TRUE(data.getProfiles().empty());
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
        parseElements("<tuning name='t'>\n<data>" + all + "</data></tuning><profile id='0'>" + all +
                      "<endpoint_type id='speaker'>" + all + "</endpoint_type></profile>");
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

TEST_F(TuningFileParserTest, TheVersionDecidesHowPresetsAreIdentifiedAndWhatHasDefaults) {
    const std::string elements =
        "<preset id='warm' name='Own name' type='ieq'/><profile id='0' group='mobility'>\n"
        "<include preset='balanced'/><endpoint_type id='headphone'>\n"
        "<include ieq_preset='detailed'/></endpoint_type><reverb-suppression-amount value='5'/>"
        "</profile>";
    const std::string named = "presetId=3\nname=warm\n\n";
    const std::string numbered = "presetId=0\nname=Own name\n\n";
    const std::string amount = "reverb_suppression_amount=5,\n";
    const std::string enable = "reverb_suppression_enable=0,\n";
    const std::string mode = "headphone_virtualizer_mode=1,\n";
    struct Case {
        std::string minor, maintenance, preset, mobility;
        int included;  ///< IEQ preset of the endpoints, which the file gives by its name
        std::string defaults;
    };
    const Case cases[] = {
        {"1", "9", numbered, "true", 0, mode + amount + enable},
        {"2", "1", named, "false", 2, mode + amount + enable},
        {"3", "0", named, "true", 0, mode + amount},
        {"3", "10", numbered, "true", 0, mode + amount},
        {"4", "0", numbered, "true", 0, amount},
    };
    for (const Case& c : cases) {
        parseElements(elements, c.minor, c.maintenance);
        EXPECT_EQ(data.getFormatVersion(), "3." + c.minor + "." + c.maintenance);
        EXPECT_THAT(text, HasSubstr(c.preset));
        EXPECT_THAT(text, HasSubstr("profileId=0\nmobility=" + c.mobility +
                                    "\nselectedGeqPreset=0\n" + c.defaults + "\n"));
        EXPECT_THAT(ofEndpoints(IEQ_ID), ElementsAre(1, c.included, c.included));
        const int isOn = c.included != 0 ? 1 : 0;
        EXPECT_THAT(ofEndpoints(IEQ_ENABLE), ElementsAre(1, isOn, isOn));
    }
}

TEST_F(TuningFileParserTest, EndpointsUseTheIeqSettingsOfTheProfileUnlessTheyHaveTheirOwn) {
    parseElements(
        "<profile id='0'>\n<endpoint_type id='speaker'>\n<include preset='warm'/>"
        "<ieq-amount value='3'/></endpoint_type><endpoint_type id='headphone'>\n"
        "<include preset='warm'/><ieq-enable value='true'/></endpoint_type>"
        "<endpoint_type id='headphone'>\n<include preset='balanced'/></endpoint_type>"
        "<ieq-enable value='false'/><ieq-amount value='9'/></profile><profile id='1'>\n"
        "<endpoint_type id='speaker'>\n<include preset='warm'/></endpoint_type></profile>");
    EXPECT_THAT(ofEndpoints(IEQ_ID), ElementsAre(3, 3, 0, 3, 0, 0));
    EXPECT_THAT(ofEndpoints(IEQ_ENABLE), ElementsAre(0, 1, 0, 1, 0, 0));
    EXPECT_THAT(ofEndpoints(IEQ_AMOUNT), ElementsAre(3, 9, 9, 0, 0, 0));
    EXPECT_TRUE(text.ends_with("\nprofileId=0\n\nprofileId=1\n\n")) << "empty GEQ presets";
    EXPECT_THAT(logged, ElementsAre("W TuningFileParser: A second headphone endpoint of profile 0 "
                                    "is ignored"));

    parser.getDeviceData()->validateData();
    EXPECT_THAT(ofEndpoints(IEQ_ID), ElementsAre(0, 3, 0, 3, 0, 0)) << "none where IEQ is off";
}

TEST_F(TuningFileParserTest, TuningsHaveAttributesInWordsOrNumbers) {
    parseElements(
        "<tuning name='a&#10;b' endpoint_type='other' mono_device='true' orientation='3' "
        "output_channels='4'>\n<device_id id='d&#10;1' endpoint_port='hdmi&#10;'/><x/>"
        "<device_id id='late'/></tuning>"
        "<tuning name='c' endpoint_type='Speaker' mono_device='True' orientation='Portrait'>"
        "\n<data/></tuning>");
    EXPECT_EQ(text,
              "name=a b\nendpoint=other\nmono=true\nreadonly=true\norientation=3,\n"
              "output_channels=4,\n\n"
              "name=c\nendpoint=speaker\nmono=false\nreadonly=true\norientation=0,\n"
              "output_channels=0,\n\n"
              "device=d 1\nport=hdmi \ntuning=a b\n\n");
}

TEST_F(TuningFileParserTest, ATuningWithALongOrUsedNameIsIgnoredButTheUsedNameKeepsItsDevices) {
    parseElements("<tuning name='" + std::string(256, 'n') + "'>\n<x/></tuning>" +
                  "<tuning name='c'>\n<device_id id='lost'/></tuning>" +  // leaves its name free
                  "<tuning name='c' orientation='portrait'>\n<data/></tuning>"
                  "<tuning name='c'>\n<device_id id='second' endpoint_port='usb'/><x/></tuning>");
    EXPECT_EQ(text,
              "name=c\nendpoint=speaker\nmono=false\nreadonly=true\norientation=1,\n"
              "output_channels=0,\n\ndevice=second\nport=usb\ntuning=c\n\n");
    EXPECT_THAT(logged,
                ElementsAre("W TuningFileParser: A tuning is ignored: its name has 256 bytes, "
                            "more than 255",
                            "E TuningFileParser: There is no <data> in Tuning section",
                            "W TuningFileParser: A second tuning c is ignored"));
}

TEST_F(TuningFileParserTest, RecordsBeyondTheLimitAreIgnoredWithOneWarning) {
    std::string devices;
    for (int i = 0; i < 9998; ++i) devices += "<device_id/>";
    parseElements("<tuning>\n" + devices +
                  "<data/></tuning><profile>\n<endpoint_type id='speaker'/>"
                  "</profile><profile id='1'/><tuning name='b'>\n<device_id/><data/></tuning>");
    EXPECT_EQ(data.getTunings().size(), 1U);
    EXPECT_EQ(data.getDeviceTunings().size(), 9998U);
    EXPECT_EQ(data.getProfiles().size(), 1U);
    EXPECT_EQ(data.getProfileEndpoints().size(), 3U) << "a profile is complete";
    EXPECT_THAT(logged, ElementsAre("W TuningFileParser: Only the first 10000 records of a file "
                                    "are used"));
}

TEST_F(TuningFileParserTest, MissingNumbersAreLogged) {
    parseElements(
        "<profile id='1'/><profile id='0'/><profile id='7'/><preset type='ieq' id='1'/>"
        "<preset type='ieq' id='2'/><preset type='ieq' id='9'/><preset type='ieq' id='4'/>");
    const std::string rest = " is missing, and a higher number is out of reach";
    EXPECT_THAT(logged, ElementsAre("W TuningFileParser: profile 2" + rest,
                                    "W TuningFileParser: IEQ preset 3" + rest));
}

class TagIteratorTest : public testing::Test {
protected:
    LogCapture log;
    TempDir dir;
    TagIterator it;
};

TEST_F(TagIteratorTest, ReadsAnAttributeIntoTheFirstPlaceOfItsName) {
    ASSERT_EQ(it.init(dir.write("f", "<r>\n <a k='1' l='&lt;&#10;é'/></r>")), 0);
    it.next();  // behind the white space
    std::vector<std::string> values{"old", "kept"};
    const std::string_view names[] = {"k", "x", "k", "K"};
    it.parseNodeWithName(names, values);
    it.parseNodeAll(values);
    EXPECT_THAT(values, ElementsAre("1", "kept", "", "", "1", "<\né"));
}

TEST_F(TagIteratorTest, OpeningFailsWithALogLine) {
    EXPECT_EQ(it.init(""), -22);
    EXPECT_EQ(log.count("E TagIterator: Invalide xml file path, 40"), 1U);
    EXPECT_EQ(it.init("/missing.xml"), -22);
    EXPECT_EQ(log.count("E TagIterator: fail to call xmlReadFile,  46"), 1U);
    EXPECT_EQ(log.count("E TagIterator: /missing.xml: No such file or directory"), 1U);
}

}  // namespace
}  // namespace velora::test
