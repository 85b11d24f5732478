#include "effect/ParameterTranslator.h"
#include "effect/SetParamCommand.h"
#include "model/DeviceParameters.h"
#include "model/ProfileParameters.h"
#include "tests/support/EffectBlocks.h"
#include "tests/support/TestFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A record that takes any parameter, and a translator that watches it.
class TranslatorTest : public testing::Test {
protected:
    struct Source : ParameterValues {
        Source() : ParameterValues(false) {}
        int64_t getId() const override { return -1; }
        const ParameterSet& getValidParams() const override {
            static constexpr auto kAll =
                ProfileParameters::kValidParams | DeviceParameters::kValidParams;
            return kAll;
        }
    };
    using Send = void (ParameterTranslator::*)(SetParamCommand&);

    TranslatorTest() { translator.setSource(&source, Endpoint::OTHER, false); }

    void change(Parameter parameter, std::vector<int> values) {
        source.set(parameter, std::move(values));
        translator.onParameterChanged(parameter);
    }

    /// The entries that are sent, for device 2.
    std::vector<std::string> send(Send pass = &ParameterTranslator::translatePending) {
        SetParamCommand command(kNoDevice);
        command.setDeviceId(2);
        (translator.*pass)(command);
        command.execute(effect);
        return effect.take();
    }

    Source source;
    ParameterTranslator translator;
    test::RecordingEffect effect;
};

// In docs/effect-block.md most rows name one parameter in backquotes: its values are copied.
TEST_F(TranslatorTest, AFullResendHasTheDocumentedEntriesInOrder) {
    for (const Parameter parameter : source.getValidParams()) {
        if (parameter != PEAK_VALUE) source.set(parameter, {0, -parameter});
    }
    const auto sent = send(&ParameterTranslator::translateAll);
    std::istringstream lines(test::contentsOf(test::sourceFile("docs/effect-block.md")));
    std::string line;
    while (line != "| Effect parameter | Values |") ASSERT_TRUE(std::getline(lines, line));
    std::getline(lines, line);
    size_t copied = 0;
    for (const std::string& entry : sent) {
        std::getline(lines, line);
        const size_t end = line.find(" | ");
        std::string expected = "2 " + line.substr(2, end - 2);
        const std::string values = line.substr(end + 4, line.size() - end - 7);
        if (const Parameter* const parameter = kParameterOfColumn.find(values)) {
            if (*parameter != PEAK_VALUE) expected += " 0 " + std::to_string(-*parameter);
            EXPECT_EQ(entry, expected);
            ++copied;
        } else {
            EXPECT_THAT(entry, testing::StartsWith(expected + ' '));
        }
    }
    EXPECT_EQ(std::pair(sent.size(), copied), std::pair(size_t{82}, size_t{69}));
    EXPECT_NE(source.find(PEAK_VALUE), nullptr) << "empty, but there";
    EXPECT_THAT(send(), IsEmpty());
}

TEST_F(TranslatorTest, CompositesJoinTheirPartsWhicheverOfThemChanges) {
    const struct {
        std::vector<Parameter> parts;  ///< the first with 13 14, the second with 23 24, and so on
        std::string stereo, quadOnMonoSpeaker, empty;
    } rows[] = {
        {{DIALOG_ENHANCER_AMOUNT}, "DEA 12 14", "DEA 12 14", "DEA"},
        {{GEQ_FREQUENCY, GEQ_GAIN},
         "GEBS 2 13 14 23 24, VCBF 13 14",
         "GEBS 2 13 14 23 24, VCBF 13 14",
         "GEBS 0, VCBF"},
        {{IEQ_FREQUENCY, IEQ_TARGET}, "IEBS 2 13 14 23 24", "IEBS 2 13 14 23 24", "IEBS 0"},
        {{AUDIO_OPTIMIZER_FREQUENCY, AUDIO_OPTIMIZER_GAIN_L, AUDIO_OPTIMIZER_GAIN_R,
          AUDIO_OPTIMIZER_GAIN_LS, AUDIO_OPTIMIZER_GAIN_RS},
         "AOBS 2 2 13 14 23 24 33 34",
         "AOBS 4 2 13 14 23 24 33 34 43 44 53 54",
         "AOBS 2 0"},
        {{REGULATOR_STRESS_AMOUNT, REGULATOR_FREQUENCY, REGULATOR_THRESHOLD_LOW,
          REGULATOR_THRESHOLD_HIGH, REGULATOR_ISOLATED_BAND,
          REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT, REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT,
          REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT_SURROUND,
          REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT_SURROUND},
         "ARSA 2 13 14, ARBS 2 23 24 33 34 43 44 53 54, RSSA 2 1 63 64 73 74",
         "ARSA 2 13 14, ARBS 2 23 24 33 34 43 44 53 54, RSSA 4 1 63 64 73 74 83 84 93 94",
         "ARSA 0, ARBS 0, RSSA 2 0"},
        {{VIRTUAL_BASS_ENABLE, VIRTUAL_BASS_TYPE},
         "VBM 3, VBON 23 24",
         "VBM 3, VBON 23 24",
         "VBM 0, VBON"},
        {{VIRTUAL_BASS_SRC_FREQ_LOW, VIRTUAL_BASS_SRC_FREQ_HIGH, VIRTUAL_BASS_MIX_FREQ_LOW,
          VIRTUAL_BASS_MIX_FREQ_HIGH},
         "VBSF 13 14 23 24, VBMF 33 34 43 44",
         "VBSF 13 14 23 24, VBMF 33 34 43 44",
         "VBSF, VBMF"},
        {{VIRTUALIZER_ENABLE, ORIENTATION, OUTPUT_MIX_MATRIX},
         "DOM 13 14 2 23 24",
         "DOM 13 14 1 23 24 33 34",
         "DOM 2"},
        {{COMPLEX_EQUALIZER_TUNING_LEFT, COMPLEX_EQUALIZER_TUNING_RIGHT,
          COMPLEX_EQUALIZER_TUNING_LEFT_SURROUND, COMPLEX_EQUALIZER_TUNING_RIGHT_SURROUND},
         "CEQT 2 2 13 14 23 24",
         "CEQT 4 2 13 14 23 24 33 34 43 44",
         "CEQT 2 0"},
        {{CUSTOM_DRC_METADATA}, "DRCM 13 14", "DRCM 13 14", "DRCM"},
        {{BASS_MBDRC_TUNING}, "BMDT 1 13 14", "BMDT 1 13 14", "BMDT"},
    };
    for (const auto& row : rows) {
        const auto expectSent = [&](const std::string& expected) {
            for (const Parameter part : row.parts) {
                translator.onParameterChanged(part);
                std::string sent;
                for (const auto& entry : send())
                    sent += (sent.empty() ? "" : ", ") + entry.substr(2);
                EXPECT_EQ(sent, expected) << infoOf(part).column;
            }
        };
        expectSent(row.empty);
        int ten = 0;
        for (const Parameter part : row.parts) source.set(part, {(ten += 10) + 3, ten + 4});
        source.set(REGULATOR_SIBILANCE_SUPPRESS_ENABLE, {1});
        source.set(BASS_MBDRC_ENABLE, {1});
        expectSent(row.stereo);
        source.set(OUTPUT_CHANNELS, {4});
        translator.setSource(&source, Endpoint::SPEAKER, true);
        expectSent(row.quadOnMonoSpeaker);
        source.completeTo(ParameterSet());
        translator.setSource(&source, Endpoint::OTHER, false);
    }
}

TEST_F(TranslatorTest, WhatIsDueIsSentOnceHoweverManyChangesMadeItSo) {
    change(PEAK_VALUE, {1});
    change(GEQ_GAIN, {3});
    change(GEQ_FREQUENCY, {32});
    change(PEAK_VALUE, {2});
    EXPECT_THAT(send(), ElementsAre("2 GEBS 1 32 3", "2 VCBF 32", "2 DPLP 2"));
    for (const Parameter none : {OUTPUT_CHANNELS, VIRTUAL_BASS_MODE, Parameter{-1}}) {
        translator.onParameterChanged(none);
    }
    EXPECT_THAT(send(), IsEmpty());
    change(PEAK_VALUE, {3});
    translator.setSource(nullptr, Endpoint::OTHER, false);
    EXPECT_THAT(send(), IsEmpty());
}

}  // namespace

}  // namespace velora
