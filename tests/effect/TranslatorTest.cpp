#include "effect/DeviceParameters.h"
#include "effect/ParameterTranslator.h"
#include "effect/ProfileParameters.h"
#include "effect/SetParamCommand.h"
#include "tests/support/EffectBlocks.h"
#include "tests/support/TestFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora::test {
namespace {

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
    TranslatorTest() { translator.setSource(&source, Endpoint::OTHER, false); }

    /// The entries that are sent, with commas between them.
    std::string send() {
        SetParamCommand command(kNoDevice);
        command.setDeviceId(2);
        translator.translatePending(command);
        command.execute(effect);
        std::string sent;
        for (const auto& entry : effect.take())
            sent += (sent.empty() ? "" : ", ") + entry.substr(2);
        return sent;
    }

    Source source;
    ParameterTranslator translator;
    RecordingEffect effect;
};

// In docs/effect-block.md most rows name one parameter in backquotes: its values are copied.
TEST_F(TranslatorTest, EveryParametersChangeSendsTheDocumentedEntriesInOrder) {
    for (const Parameter parameter : source.getValidParams()) {
        source.set(parameter, {0, -parameter});
        translator.onParameterChanged(parameter);
    }
    std::istringstream sent(send());
    std::istringstream doc(contentsOf(sourceFile("docs/effect-block.md")));
    std::string row;
    while (row != "| Effect parameter | Values |") ASSERT_TRUE(std::getline(doc, row));
    std::getline(doc, row);
    for (std::string entry; std::getline(sent >> std::ws, entry, ',');) {
        ASSERT_TRUE(std::getline(doc, row));
        const size_t end = row.find(" | ");
        std::string expected = row.substr(2, end - 2);
        const auto* const copied =
            kParameterOfColumn.find(row.substr(end + 4, row.size() - end - 7));
        if (copied == nullptr) entry.resize(entry.find(' '));
        if (copied != nullptr) expected += " 0 " + std::to_string(-*copied);
        EXPECT_EQ(entry, expected);
    }
    EXPECT_TRUE(row.starts_with("| SVRC")) << "the last row of the table";
    EXPECT_EQ(send(), "");
}

TEST_F(TranslatorTest, CompositesJoinTheirPartsWhicheverOfThemChanges) {
    const struct {
        std::vector<Parameter> parts;  ///< with 13 14 15, 23 24, 33 34 and so on
        std::string sent;
        std::string sentToMonoSpeaker = sent;  ///< of four channels
    } rows[] = {
        {{DIALOG_ENHANCER_AMOUNT}, "DEA 12 14 15"},
        {{GEQ_FREQUENCY, GEQ_GAIN}, "GEBS 3 13 14 15 23 24, VCBF 13 14 15"},
        {{IEQ_FREQUENCY, IEQ_TARGET}, "IEBS 3 13 14 15 23 24"},
        {{AUDIO_OPTIMIZER_FREQUENCY, AUDIO_OPTIMIZER_GAIN_L, AUDIO_OPTIMIZER_GAIN_R,
          AUDIO_OPTIMIZER_GAIN_LS, AUDIO_OPTIMIZER_GAIN_RS},
         "AOBS 2 3 13 14 15 23 24 33 34",
         "AOBS 4 3 13 14 15 23 24 33 34 43 44 53 54"},
        {{REGULATOR_STRESS_AMOUNT, REGULATOR_FREQUENCY, REGULATOR_THRESHOLD_LOW,
          REGULATOR_THRESHOLD_HIGH, REGULATOR_ISOLATED_BAND,
          REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT, REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT,
          REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT_SURROUND,
          REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT_SURROUND},
         "ARSA 3 13 14 15, ARBS 2 23 24 33 34 43 44 53 54, RSSA 2 1 63 64 73 74",
         "ARSA 3 13 14 15, ARBS 2 23 24 33 34 43 44 53 54, RSSA 4 1 63 64 73 74 83 84 93 94"},
        {{VIRTUAL_BASS_ENABLE, VIRTUAL_BASS_TYPE}, "VBM 3, VBON 23 24"},
        {{VIRTUAL_BASS_SRC_FREQ_LOW, VIRTUAL_BASS_SRC_FREQ_HIGH, VIRTUAL_BASS_MIX_FREQ_LOW,
          VIRTUAL_BASS_MIX_FREQ_HIGH},
         "VBSF 13 14 15 23 24, VBMF 33 34 43 44"},
        {{VIRTUALIZER_ENABLE, ORIENTATION, OUTPUT_MIX_MATRIX},
         "DOM 13 14 15 2 23 24",
         "DOM 13 14 15 1 23 24 33 34"},
        {{COMPLEX_EQUALIZER_TUNING_LEFT, COMPLEX_EQUALIZER_TUNING_RIGHT,
          COMPLEX_EQUALIZER_TUNING_LEFT_SURROUND, COMPLEX_EQUALIZER_TUNING_RIGHT_SURROUND},
         "CEQT 2 3 13 14 15 23 24",
         "CEQT 4 3 13 14 15 23 24 33 34 43 44"},
        {{BASS_MBDRC_TUNING}, "BMDT 1 13 14 15"},
    };
    source.set(REGULATOR_SIBILANCE_SUPPRESS_ENABLE, {1});
    source.set(BASS_MBDRC_ENABLE, {1});
    for (const auto& row : rows) {
        int ten = 0;
        for (const Parameter part : row.parts) source.set(part, {(ten += 10) + 3, ten + 4});
        source.set(row.parts.front(), {13, 14, 15});
        for (const bool speaker : {false, true}) {
            source.set(OUTPUT_CHANNELS, {speaker ? 4 : 2});
            translator.setSource(&source, speaker ? Endpoint::SPEAKER : Endpoint::OTHER, speaker);
            for (const Parameter part : row.parts) {
                translator.onParameterChanged(part);
                EXPECT_EQ(send(), speaker ? row.sentToMonoSpeaker : row.sent);
            }
        }
    }
}

TEST_F(TranslatorTest, WhatIsDueIsSentOnceWithoutTheValuesThatAreMissing) {
    for (const Parameter changed :
         {PEAK_VALUE, GEQ_GAIN, GEQ_FREQUENCY, DIALOG_ENHANCER_AMOUNT, AUDIO_OPTIMIZER_GAIN_L,
          REGULATOR_FREQUENCY, VIRTUAL_BASS_ENABLE, VIRTUALIZER_ENABLE, PEAK_VALUE, OUTPUT_CHANNELS,
          Parameter{-1}}) {
        translator.onParameterChanged(changed);
    }
    EXPECT_EQ(send(),
              "GEBS 0, VCBF, AOBS 2 0, DEA, ARSA 0, ARBS 0, RSSA 2 0, VBM 0, VBON, DOM 2, DPLP");
    translator.onParameterChanged(PEAK_VALUE);
    translator.setSource(nullptr, Endpoint::OTHER, false);
    EXPECT_EQ(send(), "");
}

}  // namespace
}  // namespace velora::test
