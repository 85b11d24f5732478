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
        EXPECT_EQ(parser.setTuningFile(path), 0) << path;
        EXPECT_FALSE(parser.isParsed());
        parser.parseTuningFile();
        EXPECT_TRUE(parser.isParsed());
        expectComplete(data.getTunings());
        expectComplete(data.getProfiles());
        expectComplete(data.getProfileEndpoints());
        expectComplete(data.getIeqPresets());
        expectComplete(data.getGeqPresets());
    }
    /// A file of this version (each number has one digit, but the last) with these elements.
    void parse(const std::string& version, const std::string& elements) {
        parse(dir.write("f.xml", "<root>\n" + elements + "<format_version major='" +
                                     version.substr(0, 1) + "' minor='" + version.substr(2, 1) +
                                     "' maintenance='" + version.substr(4) + "'/></root>"));
    }

    template <typename Record>
    static void expectComplete(const DeviceData::Records<Record>& records) {
        for (const Record* record : records)
            EXPECT_EQ(record->size(), Record::kStoredParams.size());
    }

    /// What records say, without their rows and the values that they don't have.
    template <typename Record>
    static std::string textOf(const DeviceData::Records<Record>& records) {
        std::string text;
        for (const Record* record : records) {
            std::istringstream lines(record->toString());
            for (std::string line; std::getline(lines, line);) {
                if (line != "id=-1" && !line.ends_with('=')) text += line + "\n";
            }
            text += "\n";
        }
        return text;
    }
    std::string text() const {
        return textOf(data.getTunings()) + textOf(data.getProfiles()) +
               textOf(data.getProfileEndpoints()) + textOf(data.getIeqPresets()) +
               textOf(data.getGeqPresets());
    }
    /// Of each endpoint: its IEQ preset, whether IEQ is on, and how much.
    std::vector<Values> ieqSettings() const {
        std::vector<Values> all;
        for (const ProfileEndpoint* e : data.getProfileEndpoints()) {
            all.push_back(
                {e->getSelectedIeqPreset(), e->get(IEQ_ENABLE)[0], e->get(IEQ_AMOUNT)[0]});
        }
        return all;
    }

    LogCapture log;
    TempDir dir;
    TuningFileParser parser;
    const DeviceData& data = *parser.getDeviceData();
};

TEST_F(TuningFileParserTest, TheSampleFileYieldsItsRecords) {
    parse(sourceFile("data/multimedia_velora_kiv_default.xml"));
    EXPECT_EQ(data.getFormatVersion() + " " + data.getToolVersion(), "3.4.0 2.6.1");
    EXPECT_EQ(data.getZenithGameSystemGain(), -24);
    EXPECT_THAT((std::vector{data.getTunings().size(), data.getDeviceTunings().size(),
                             data.getProfiles().size(), data.getProfileEndpoints().size(),
                             data.getIeqPresets().size(), data.getGeqPresets().size()}),
                ElementsAre(11, 14, 5, 15, 4, 5));
    EXPECT_THAT(parser.getProfileName(4), "Mobility");
    EXPECT_EQ(parser.getProfileName(5) + parser.getProfileName(-1), "");
    const std::string all = text();
    for (const char* part :
         {"name=speaker_stereo_landscape\nendpoint=speaker\nmono=false\n",
          "\norientation=0,\noutput_channels=2,\n",
          "\noutput_mix_matrix=16384,0,11585,0,0,16384,0,11585,\n",
          "\nvirtual_bass_mix_freq_high=480,\nvirtual_bass_mix_freq_low=160,\n",
          "\nvirtual_bass_subgains=-32,-144,-192,\n",
          "name=speaker_mono_portrait\nendpoint=speaker\nmono=true\n", "\norientation=1,\n",
          "name=Mobility\nmobility=true\n", "\nname=warm\n"}) {
        EXPECT_THAT(all, HasSubstr(part));
    }
    EXPECT_EQ(data.getIeqPresets()[1]->get(IEQ_TARGET)[11], -4);
    EXPECT_EQ(data.getGeqPresets()[4]->get(GEQ_GAIN).size(), 20U);
    EXPECT_FALSE(data.getProfiles()[0]->isMobility());
    EXPECT_EQ(log.count("D TuningFileParser: xml version: 3.4.0"), 1U);
    EXPECT_EQ(
        log.count("D TuningFileParser: parseProfileEndpoint:other, parse the include ieq preset"),
        5U);
    EXPECT_EQ(log.count("W ...") + log.count("E ..."), 0U);
}

TEST_F(TuningFileParserTest, AFileThatCannotBeOpenedLeavesNoRecords) {
    parse(sourceFile("data/minimal.xml"));
    for (const std::string name : {"empty", "no-root", "not-xml", "truncated"}) {
        EXPECT_EQ(parser.setTuningFile(sourceFile("tests/data/bad/" + name + ".xml")), -22);
        parser.parseTuningFile();
        EXPECT_FALSE(parser.isParsed());
        EXPECT_EQ(parser.getNumOfProfiles(), 0);
        EXPECT_EQ(text(), "");
    }
    EXPECT_FALSE(TuningFileParser(sourceFile("data/none.xml")).isParsed());
}

// Small files with one fault each; everything else in them is read as ever.
TEST_F(TuningFileParserTest, AFaultCostsWhatItTouchesAndIsNamed) {
    struct Case {
        const char* file;
        const char* logged;
        size_t tunings, devices, profiles;
        const char* holds;
    } const cases[] = {
        {"band-with-foreign-name", "I ValueSetter: No attribute band_ieq was found!", 1, 6, 1,
         "\nieq_target=-16,\n"},
        {"band-without-target", "", 1, 6, 1, "\nieq_frequency=100,1000,10000,\nieq_target=-16,\n"},
        {"comment-before-bands", "", 1, 6, 1, "name=detailed\n\n"},
        {"duplicate-profile-id", "W TuningFileParser: A second profile 0 is ignored", 1, 6, 1, ""},
        {"endpoint-type-unknown", "", 1, 6, 1,
         "virtual_bass_type=0,\nvolume_leveler_amount=7,\n\npresetId"},
        {"no-white-space", "", 1, 5, 1,
         "ieq_enable=0,\nvirtual_bass_type=0,\nvolume_leveler_amount=0,\n\npresetId=0\nname="
         "off\n\npresetId=1\nname=detailed\n\n"},
        {"numbers-out-of-range", "", 1, 6, 1,
         "\nbass_enhancer_boost=0,\norientation=0,\noutput_channels=2,\nvirtual_bass_harmgains=0,"
         "\n"},
        {"parameter-in-wrong-record",
         "W TuningFileParser: tuning flat has no virtual_bass_enable, it is ignored", 1, 6, 1, ""},
        {"preset-name-unknown", "E TuningFileParser: name is invalid, 309", 1, 6, 1,
         "endpoint=speaker\nselectedIeqPreset=0\nieq_amount=8,\nieq_enable=1,\n"},
        {"preset-type-unknown", "", 1, 6, 1, "\nieq_target=-16,16,64,\n\nprofileId=0\ngeq_"},
        {"profile-missing", "", 1, 6, 0, ""},
        {"profile-without-endpoints", "", 1, 6, 1,
         "endpoint=speaker\nselectedIeqPreset=0\nieq_amount=8,\nieq_enable=1,\nvirtual_bass_type=1,"
         "\n"},
        {"quote-in-name", "", 2, 7, 1, "name=singer's headphone\n"},
        {"tuning-without-children", "E TuningFileParser: There is no <data> in Tuning section", 1,
         6, 1, ""},
        {"tuning-without-data", "E TuningFileParser: There is no <data> in Tuning section", 1, 6, 1,
         ""},
        {"unknown-elements", "", 1, 6, 1, "\nieq_target=-16,16,64,\n"},
        {"version-missing", "", 1, 6, 1, "\nheadphone_virtualizer_mode=1,\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        LogCapture::clear();
        parse(sourceFile("tests/data/bad/" + std::string(c.file) + ".xml"));
        EXPECT_EQ(data.getTunings().size(), c.tunings);
        EXPECT_EQ(data.getDeviceTunings().size(), c.devices);
        EXPECT_EQ(data.getProfiles().size(), c.profiles);
        EXPECT_EQ(data.getProfileEndpoints().size(), 3 * c.profiles);
        EXPECT_THAT(text(), HasSubstr(c.holds));
        std::vector<std::string> said = LogCapture::lines();
        std::erase_if(said, [](const std::string& line) { return line.starts_with("D "); });
        EXPECT_EQ(said,
                  c.logged[0] ? std::vector<std::string>{c.logged} : std::vector<std::string>{});
    }
    const auto files = std::filesystem::directory_iterator(sourceFile("tests/data/bad"));
    EXPECT_EQ(std::distance(begin(files), end(files)),
              std::ssize(cases) + 4);  // and the unreadable
}

TEST_F(TuningFileParserTest, VersionsDecideHowPresetsAreNamedAndWhatIsMissing) {
    const std::string elements =
        "<preset id='warm' name='Own name' type='ieq'/>"
        "<profile id='0' group='mobility'>\n<include preset='balanced'/>"
        "<endpoint_type id='headphone'>\n<include "
        "ieq_preset='detailed'/></endpoint_type></profile>";
    const std::string named = "presetId=3\nname=warm\n\n";
    const std::string numbered = "presetId=0\nname=Own name\n\n";
    const std::string noReverb = "reverb_suppression_amount=0,\nreverb_suppression_enable=0,\n";
    const std::string mode = "headphone_virtualizer_mode=1,\n";
    struct Case {
        const char* version;
        std::string preset;
        bool mobility;
        int includedPreset;
        std::string missing;
    } const cases[] = {
        {"3.2.1", named, false, 2, mode + noReverb}, {"3.3.0", named, true, 0, mode},
        {"3.3.1", numbered, true, 0, mode},          {"3.4.0", numbered, true, 0, ""},
        {"3.9.10", numbered, true, 0, ""},           {"3.1.9", numbered, true, 0, mode + noReverb},
        {"3.4.10", numbered, true, 0, ""},
    };
    for (const auto& [version, preset, mobility, includedPreset, missing] : cases) {
        SCOPED_TRACE(version);
        parse(version, elements);
        EXPECT_EQ(data.getFormatVersion(), version);
        EXPECT_EQ(textOf(data.getIeqPresets()), preset);
        EXPECT_EQ(textOf(data.getProfiles()),
                  "profileId=0\nmobility=" + std::string(mobility ? "true" : "false") +
                      "\nselectedGeqPreset=0\n" + missing + "\n");
        EXPECT_THAT(ieqSettings(),
                    ElementsAre(Values{1, 1, 0}, Values{includedPreset, includedPreset != 0, 0},
                                Values{includedPreset, includedPreset != 0, 0}));
    }
    parse("3.2.0", "<profile id='0'>\n<reverb-suppression-amount value='5'/></profile>");
    EXPECT_THAT(text(), HasSubstr("reverb_suppression_amount=5,"));
}

TEST_F(TuningFileParserTest, EndpointsTakeTheirIeqSettingsFromTheProfileUnlessTheyHaveTheirOwn) {
    parse("3.4.0",
          "<profile id='0'>\n<endpoint_type id='speaker'>\n<include preset='warm'/>"
          "<ieq-amount value='3'/></endpoint_type><endpoint_type id='headphone'>\n"
          "<include preset='warm'/><ieq-enable value='true'/></endpoint_type>"
          "<ieq-enable value='false'/><ieq-amount value='9'/></profile>"
          "<profile id='1'>\n<endpoint_type id='speaker'>\n<include preset='warm'/></endpoint_type>"
          "</profile>");
    EXPECT_THAT(ieqSettings(), ElementsAre(Values{3, 0, 3}, Values{3, 1, 9}, Values{0, 0, 9},
                                           Values{3, 1, 0}, Values{0, 0, 0}, Values{0, 0, 0}));
    EXPECT_EQ(textOf(data.getGeqPresets()), "profileId=0\n\nprofileId=1\n\n");  // not in the file
}

TEST_F(TuningFileParserTest, AttributesOfTuningsAreWordsOrNumbers) {
    parse(
        "3.4.0",
        "<tuning name='" + std::string(256, 'n') +
            "'>\n<x/></tuning>"
            "<tuning name='c'>\n<device_id id='lost'/></tuning>"  // its name is free again
            "<tuning name='a&#10;b' endpoint_type='other' mono_device='true' orientation='3' "
            "output_channels='4'>\n<device_id id='d&#10;1' endpoint_port='hdmi&#10;'/><x/>"
            "<device_id id='late'/></tuning>"
            "<tuning name='c' endpoint_type='Speaker' mono_device='True' orientation='Portrait'>\n"
            "<data/></tuning><tuning name='c' mono_device='true'>\n"
            "<device_id id='second' endpoint_port='usb'/><x/></tuning>");
    EXPECT_EQ(textOf(data.getTunings()),
              "name=a b\nendpoint=other\nmono=true\nreadonly=true\norientation=3,\n"
              "output_channels=4,\n\n"
              "name=c\nendpoint=speaker\nmono=false\nreadonly=true\norientation=0,\n"
              "output_channels=0,\n\n");
    EXPECT_EQ(textOf(data.getDeviceTunings()),
              "device=d 1\nport=hdmi \ntuning=a b\n\ndevice=second\nport=usb\ntuning=c\n\n");
    EXPECT_EQ(
        log.count("W TuningFileParser: A tuning is ignored: its name has 256 bytes, more than 255"),
        1U);
    EXPECT_EQ(log.count("W TuningFileParser: A second tuning c is ignored"), 1U);
}

TEST_F(TuningFileParserTest, MissingNumbersAreNamed) {
    parse("3.4.0",
          "<profile id='1'/><profile id='0'/><profile id='7'/><preset type='ieq' id='1'/>"
          "<preset type='ieq' id='2'/><preset type='ieq' id='9'/><preset type='ieq' id='4'/>");
    for (const std::string what : {"profile 2", "IEQ preset 3"}) {
        EXPECT_EQ(log.count("W TuningFileParser: " + what +
                            " is missing, and a higher number is out of reach"),
                  1U);
    }
    EXPECT_EQ(log.count("W ..."), 2U);
}

TEST_F(TuningFileParserTest, IeqPresetNamesAreExact) {
    const char* const names[] = {"off", "detailed", "balanced", "warm"};
    for (int id = 0; id < 4; ++id) EXPECT_EQ(TuningFileParser::getIeqPresetIdByName(names[id]), id);
    EXPECT_EQ(log.count("E ..."), 0U);
    for (const char* wrong : {"Warm", ""})
        EXPECT_EQ(TuningFileParser::getIeqPresetIdByName(wrong), 0);
    EXPECT_EQ(log.count("E TuningFileParser: name is invalid, 309"), 2U);
}

}  // namespace
}  // namespace velora::test
