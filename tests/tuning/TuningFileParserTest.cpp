#include "tests/support/LogCapture.h"
#include "tests/support/TestFiles.h"
#include "tuning/TuningFileParser.h"

#include <filesystem>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora::test {
namespace {

using Values = ParameterValues::Values;

class TuningFileParserTest : public testing::Test {
protected:
    DeviceData& parse(const std::string& path) {
        EXPECT_EQ(parser.setTuningFile(path), 0) << path;
        EXPECT_FALSE(parser.isParsed());
        parser.parseTuningFile();
        EXPECT_TRUE(parser.isParsed());
        return *parser.getDeviceData();
    }
    /// A file of this version with these elements below its root.
    DeviceData& parse(const char* version, const std::string& elements) {
        std::string numbers(version);
        const auto dot = numbers.find('.');
        return parse(dir.write("f.xml", "<root>\n" + elements + "<format_version major='" +
                                            numbers.substr(0, dot) + "' minor='" +
                                            numbers.substr(dot + 1, 1) + "' maintenance='" +
                                            numbers.substr(dot + 3) + "'/></root>"));
    }

    const Tuning& tuning(std::string_view name) {
        for (const Tuning* t : parser.getDeviceData()->getTunings()) {
            if (t->getName() == name) return *t;
        }
        ADD_FAILURE() << "no tuning " << name;
        static const Tuning none("", Endpoint::SPEAKER, false);
        return none;
    }
    const ProfileEndpoint& endpoint(int profile, Endpoint e) {
        for (const ProfileEndpoint* p : parser.getDeviceData()->getProfileEndpoints()) {
            if (p->getProfileId() == profile && p->getEndpoint() == e) return *p;
        }
        ADD_FAILURE() << "no endpoint";
        static const ProfileEndpoint none(-1, Endpoint::SPEAKER, 0);
        return none;
    }

    LogCapture log;
    TempDir dir;
    TuningFileParser parser;
};

TEST_F(TuningFileParserTest, TheSampleFileYieldsItsRecords) {
    const DeviceData& data = parse(sourceFile("data/multimedia_velora_kiv_default.xml"));
    EXPECT_EQ(data.getFormatVersion(), "3.4.0");
    EXPECT_EQ(data.getToolVersion(), "2.6.1");
    EXPECT_EQ(data.getZenithGameSystemGain(), -24);
    EXPECT_EQ(data.getTunings().size(), 11U);
    EXPECT_EQ(data.getDeviceTunings().size(), 14U);
    EXPECT_EQ(data.getProfiles().size(), 5U);
    EXPECT_EQ(data.getProfileEndpoints().size(), 15U);
    EXPECT_EQ(data.getIeqPresets().size(), 4U);
    EXPECT_EQ(data.getGeqPresets().size(), 5U);

    const auto& speaker = tuning("speaker_stereo_landscape");
    EXPECT_EQ(speaker.getEndpoint(), Endpoint::SPEAKER);
    EXPECT_FALSE(speaker.isMono());
    EXPECT_EQ(speaker.get(ORIENTATION), Values{0});
    EXPECT_EQ(speaker.get(OUTPUT_CHANNELS), Values{2});
    EXPECT_EQ(speaker.get(OUTPUT_MIX_MATRIX), (Values{16384, 0, 11585, 0, 0, 16384, 0, 11585}));
    EXPECT_EQ(speaker.get(VIRTUAL_BASS_SUBGAINS), (Values{-32, -144, -192}));
    EXPECT_EQ(speaker.get(VIRTUAL_BASS_MIX_FREQ_LOW), Values{160});
    EXPECT_EQ(speaker.get(VIRTUAL_BASS_MIX_FREQ_HIGH), Values{480});
    EXPECT_EQ(speaker.get(REGULATOR_ISOLATED_BAND).size(), 20U);
    EXPECT_EQ(speaker.get(AUDIO_OPTIMIZER_GAIN_R)[19], 42);
    EXPECT_TRUE(speaker.find(AUDIO_OPTIMIZER_GAIN_RS)->empty());
    EXPECT_EQ(speaker.get(BASS_ENHANCER_BOOST), Values{128});
    EXPECT_EQ(speaker.get(VIRTUAL_BASS_HARMGAINS), (Values{0, -24, -60, -96, -144, -192}));
    EXPECT_EQ(speaker.get(REGULATOR_THRESHOLD_LOW)[2], -512);
    const auto& portrait = tuning("speaker_mono_portrait");
    EXPECT_TRUE(portrait.isMono());
    EXPECT_EQ(portrait.get(ORIENTATION), Values{1});

    const Profile& mobility = *data.getProfiles().back();
    EXPECT_EQ(mobility.getName(), "Mobility");
    EXPECT_TRUE(mobility.isMobility());
    EXPECT_FALSE(data.getProfiles().front()->isMobility());
    EXPECT_EQ(parser.getProfileName(4), "Mobility");
    EXPECT_EQ(parser.getProfileName(5) + parser.getProfileName(-1), "");
    EXPECT_EQ(data.getIeqPresets()[3]->getName(), "warm");
    EXPECT_EQ(data.getIeqPresets()[1]->get(IEQ_TARGET)[11], -4);
    EXPECT_EQ(data.getGeqPresets()[4]->get(GEQ_GAIN).size(), 20U);
    EXPECT_EQ(data.getProfiles()[3]->get(HEADPHONE_VIRTUALIZER_MODE), Values{0});
    EXPECT_FALSE(data.getProfiles()[0]->get(CUSTOM_DRC_METADATA).empty());
    EXPECT_EQ(log.count("D TuningFileParser: xml version: 3.4.0"), 1U);
    EXPECT_EQ(
        log.count("D TuningFileParser: parseProfileEndpoint:other, parse the include ieq preset"),
        5U);
    EXPECT_EQ(data.getDeviceTunings()[0]->getDevice(), "default_internal_speaker");
    EXPECT_EQ(log.count("W ...") + log.count("E ..."), 0U);
}

TEST_F(TuningFileParserTest, EveryRecordIsCompleteInEverySample) {
    for (const char* file : {"multimedia_velora_kiv_default", "minimal", "kiv-extra"}) {
        const DeviceData& data = parse(sourceFile("data/" + std::string(file) + ".xml"));
        for (const auto* record : data.getTunings()) EXPECT_EQ(record->size(), 59U);
        for (const auto* record : data.getProfiles()) EXPECT_EQ(record->size(), 12U);
        for (const auto* record : data.getIeqPresets()) EXPECT_EQ(record->size(), 3U);
        for (const auto* record : data.getGeqPresets()) EXPECT_EQ(record->size(), 2U);
        for (const auto* record : data.getProfileEndpoints()) {
            EXPECT_EQ(record->size(), 28U);
            EXPECT_EQ(record->get(VIRTUAL_BASS_TYPE),
                      Values{record->getEndpoint() == Endpoint::SPEAKER});
        }
    }
}

TEST_F(TuningFileParserTest, AFileThatCannotBeOpenedLeavesNoRecords) {
    parse(sourceFile("data/minimal.xml"));
    for (const char* name : {"empty", "no-root", "not-xml", "truncated"}) {
        EXPECT_EQ(parser.setTuningFile(sourceFile("tests/data/bad/" + std::string(name) + ".xml")),
                  -22);
        parser.parseTuningFile();
        EXPECT_FALSE(parser.isParsed());
        EXPECT_EQ(parser.getNumOfProfiles(), 0);
        EXPECT_TRUE(parser.getDeviceData()->getTunings().empty());
    }
    EXPECT_FALSE(TuningFileParser(sourceFile("data/none.xml")).isParsed());
}

// Small files with one fault each; everything else in them is read as ever.
TEST_F(TuningFileParserTest, AFaultCostsWhatItTouchesAndIsNamed) {
    const auto ieqTarget = [](const DeviceData& d) {
        return d.getIeqPresets()[1]->get(IEQ_TARGET);
    };
    const auto speaker = [](const DeviceData& d) { return d.getProfileEndpoints()[0]; };
    struct Case {
        const char* file;
        const char* logged;
        size_t tunings, devices, profiles;
        std::function<bool(const DeviceData&)> holds;
    };
    const auto always = [](const DeviceData&) { return true; };
    const Case cases[] = {
        {"band-with-foreign-name", "I ValueSetter: No attribute band_ieq was found!", 1, 6, 1,
         [&](auto& d) { return ieqTarget(d) == Values{-16}; }},
        {"band-without-target", "", 1, 6, 1,
         [&](auto& d) {
             return ieqTarget(d) == Values{-16} &&
                    d.getIeqPresets()[1]->get(IEQ_FREQUENCY) == Values({100, 1000, 10000});
         }},
        {"comment-before-bands", "", 1, 6, 1, [&](auto& d) { return ieqTarget(d).empty(); }},
        {"duplicate-profile-id", "W TuningFileParser: A second profile 0 is ignored", 1, 6, 1,
         [](auto& d) { return d.getProfileEndpoints().size() == 3; }},
        {"endpoint-type-unknown", "", 1, 6, 1,
         [](auto& d) {
             return d.getProfileEndpoints()[2]->getEndpoint() == Endpoint::OTHER &&
                    d.getProfileEndpoints()[2]->get(VOLUME_LEVELER_AMOUNT) == Values{7};
         }},
        {"no-white-space", "", 1, 5, 1,
         [&](auto& d) {
             return ieqTarget(d).empty() && speaker(d)->getSelectedIeqPreset() == 0 &&
                    speaker(d)->get(IEQ_ENABLE) == Values{0};
         }},
        {"numbers-out-of-range", "", 1, 6, 1,
         [](auto& d) {
             return d.getTunings()[0]->get(BASS_ENHANCER_BOOST) == Values{0} &&
                    d.getTunings()[0]->get(VIRTUAL_BASS_HARMGAINS) == Values{0};
         }},
        {"parameter-in-wrong-record",
         "W TuningFileParser: tuning flat has no virtual_bass_enable, it is ignored", 1, 6, 1,
         always},
        {"preset-name-unknown", "E TuningFileParser: name is invalid, 309", 1, 6, 1,
         [&](auto& d) {
             return speaker(d)->getSelectedIeqPreset() == 0 &&
                    speaker(d)->get(IEQ_ENABLE) == Values{1};
         }},
        {"preset-type-unknown", "", 1, 6, 1, [](auto& d) { return d.getIeqPresets().size() == 2; }},
        {"profile-missing", "", 1, 6, 0, always},
        {"profile-without-endpoints", "", 1, 6, 1,
         [&](auto& d) {
             return d.getProfileEndpoints().size() == 3 && speaker(d)->get(IEQ_AMOUNT) == Values{8};
         }},
        {"quote-in-name", "", 2, 7, 1, always},
        {"tuning-without-children", "E TuningFileParser: There is no <data> in Tuning section", 1,
         6, 1, always},
        {"tuning-without-data", "E TuningFileParser: There is no <data> in Tuning section", 1, 6, 1,
         always},
        {"unknown-elements", "", 1, 6, 1, [&](auto& d) { return ieqTarget(d).size() == 3; }},
        {"version-missing", "", 1, 6, 1,
         [](auto& d) {
             return d.getFormatVersion().empty() &&
                    d.getProfiles()[0]->get(HEADPHONE_VIRTUALIZER_MODE) == Values{1};
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        LogCapture::clear();
        const DeviceData& data =
            parse(sourceFile("tests/data/bad/" + std::string(c.file) + ".xml"));
        EXPECT_EQ(data.getTunings().size(), c.tunings);
        EXPECT_EQ(data.getDeviceTunings().size(), c.devices);
        EXPECT_EQ(data.getProfiles().size(), c.profiles);
        EXPECT_TRUE(c.holds(data));
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
    struct Case {
        const char* version;
        int presetId;
        const char* presetName;
        bool mobility;
        int speakerPreset;
        Values reverb, headphoneMode;
    } const cases[] = {
        {"3.2.1", 3, "warm", false, 2, {0}, {1}},   {"3.3.0", 3, "warm", true, 0, {}, {1}},
        {"3.3.1", 0, "Own name", true, 0, {}, {1}}, {"3.4.0", 0, "Own name", true, 0, {}, {}},
        {"3.9.10", 0, "Own name", true, 0, {}, {}}, {"3.1.9", 0, "Own name", true, 0, {0}, {1}},
        {"3.4.10", 0, "Own name", true, 0, {}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version);
        const DeviceData& data = parse(c.version, elements);
        EXPECT_EQ(data.getFormatVersion(), c.version);
        EXPECT_EQ(data.getIeqPresets()[0]->getPresetId(), c.presetId);
        EXPECT_EQ(data.getIeqPresets()[0]->getName(), c.presetName);
        const Profile& profile = *data.getProfiles()[0];
        EXPECT_EQ(profile.isMobility(), c.mobility);
        EXPECT_EQ(profile.get(REVERB_SUPPRESSION_ENABLE), c.reverb);
        EXPECT_EQ(profile.get(REVERB_SUPPRESSION_AMOUNT), c.reverb);
        EXPECT_EQ(profile.get(HEADPHONE_VIRTUALIZER_MODE), c.headphoneMode);
        EXPECT_EQ(endpoint(0, Endpoint::SPEAKER).getSelectedIeqPreset(), c.speakerPreset);
        EXPECT_EQ(endpoint(0, Endpoint::HEADPHONE).getSelectedIeqPreset(), 1);
    }
    const std::string given = "<profile id='0'>\n<reverb-suppression-amount value='5'/></profile>";
    EXPECT_EQ(parse("3.2.0", given).getProfiles()[0]->get(REVERB_SUPPRESSION_AMOUNT), Values{5});
}

TEST_F(TuningFileParserTest, EndpointsTakeTheirIeqSettingsFromTheProfileUnlessTheyHaveTheirOwn) {
    parse("3.4.0",
          "<profile id='0'>\n<endpoint_type id='speaker'>\n<include preset='warm'/>"
          "<ieq-amount value='3'/></endpoint_type><endpoint_type id='headphone'>\n"
          "<include preset='warm'/><ieq-enable value='true'/></endpoint_type>"
          "<ieq-enable value='false'/><ieq-amount value='9'/></profile>"
          "<profile id='1'>\n<endpoint_type id='speaker'>\n<include preset='warm'/></endpoint_type>"
          "</profile>");
    EXPECT_EQ(endpoint(0, Endpoint::SPEAKER).get(IEQ_ENABLE), Values{0});
    EXPECT_EQ(endpoint(0, Endpoint::SPEAKER).get(IEQ_AMOUNT), Values{3});
    EXPECT_EQ(endpoint(0, Endpoint::HEADPHONE).get(IEQ_ENABLE), Values{1});
    EXPECT_EQ(endpoint(0, Endpoint::HEADPHONE).get(IEQ_AMOUNT), Values{9});
    EXPECT_EQ(endpoint(0, Endpoint::OTHER).get(IEQ_AMOUNT), Values{9});
    EXPECT_EQ(endpoint(1, Endpoint::SPEAKER).get(IEQ_ENABLE), Values{1});
    EXPECT_EQ(endpoint(1, Endpoint::OTHER).get(IEQ_ENABLE), Values{0});
    EXPECT_EQ(endpoint(1, Endpoint::OTHER).get(IEQ_AMOUNT), Values{0});
    const auto& geqPresets = parser.getDeviceData()->getGeqPresets();
    ASSERT_EQ(geqPresets.size(), 2U);  // neither profile has one in the file
    EXPECT_EQ(geqPresets[1]->getProfileId(), 1);
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
    EXPECT_EQ(
        log.count("W TuningFileParser: A tuning is ignored: its name has 256 bytes, more than 255"),
        1U);
    const auto& first = tuning("a b");
    EXPECT_EQ(first.getEndpoint(), Endpoint::OTHER);
    EXPECT_TRUE(first.isMono());
    EXPECT_EQ(first.get(ORIENTATION), Values{3});
    EXPECT_EQ(first.get(OUTPUT_CHANNELS), Values{4});
    EXPECT_EQ(tuning("c").getEndpoint(), Endpoint::SPEAKER);
    EXPECT_FALSE(tuning("c").isMono());
    EXPECT_EQ(tuning("c").get(ORIENTATION), Values{0});
    EXPECT_EQ(log.count("W TuningFileParser: A second tuning c is ignored"), 1U);
    const auto& devices = parser.getDeviceData()->getDeviceTunings();
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0]->toString(), "id=-1\ndevice=d 1\nport=hdmi \ntuning=a b");
    EXPECT_EQ(devices[1]->toString(), "id=-1\ndevice=second\nport=usb\ntuning=c");
}

TEST_F(TuningFileParserTest, MissingNumbersAreNamed) {
    parse("3.4.0",
          "<profile id='1'/><profile id='0'/><profile id='7'/><preset type='ieq' id='1'/>"
          "<preset type='ieq' id='2'/><preset type='ieq' id='9'/><preset type='ieq' id='4'/>");
    for (const char* what : {"profile 2", "IEQ preset 3"}) {
        EXPECT_EQ(log.count("W TuningFileParser: " + std::string(what) +
                            " is missing, and a higher number is out of reach"),
                  1U);
    }
    EXPECT_EQ(log.count("W ..."), 2U);
}

TEST_F(TuningFileParserTest, IeqPresetNamesAreExact) {
    const char* const names[] = {"off", "detailed", "balanced", "warm"};
    for (int id = 0; id < 4; ++id) EXPECT_EQ(TuningFileParser::getIeqPresetIdByName(names[id]), id);
    EXPECT_EQ(log.count("E ..."), 0U);
    EXPECT_EQ(TuningFileParser::getIeqPresetIdByName("Warm"), 0);
    EXPECT_EQ(TuningFileParser::getIeqPresetIdByName(""), 0);
    EXPECT_EQ(log.count("E TuningFileParser: name is invalid, 309"), 2U);
}

}  // namespace
}  // namespace velora::test
