#include "effect/ParameterTranslator.h"
#include "effect/SetParamCommand.h"
#include "model/DeviceParameters.h"
#include "model/ProfileParameters.h"
#include "tests/support/EffectBlocks.h"
#include "tests/support/TestFiles.h"

#include <fstream>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora {

namespace {

using test::RecordingEffect;
using testing::ElementsAre;
using testing::ElementsAreArray;
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

    std::vector<std::string> send(Send pass = &ParameterTranslator::translatePending) {
        SetParamCommand command(kNoDevice);
        command.setDeviceId(2);
        (translator.*pass)(command);
        command.execute(effect);
        return effect.take();
    }

    /// The rows of the documentation: effect parameter and what it is made of, in order.
    static std::vector<std::pair<std::string, std::string>> documentedRows() {
        std::ifstream file(test::sourceFile("docs/effect-block.md"));
        std::vector<std::pair<std::string, std::string>> rows;
        for (std::string line; std::getline(file, line);) {
            const size_t name = line.find_first_not_of("| ");
            const size_t end = line.find(" | ");
            const bool isRow = line.starts_with("| ") && (end == 5 || end == 6) &&
                               line.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ", name) == end;
            if (isRow) {
                rows.emplace_back(line.substr(2, end - 2),
                                  line.substr(end + 3, line.size() - end - 5));
            }
        }
        return rows;
    }

    Source source;
    ParameterTranslator translator;
    RecordingEffect effect;
};

TEST_F(TranslatorTest, EachSimpleOneCopiesTheParameterOfItsRow) {
    size_t simple = 0;
    for (const auto& [name, from] : documentedRows()) {
        const Parameter* const parameter = kParameterOfColumn.find(from.substr(1, from.size() - 2));
        if (parameter == nullptr || getTranslator(*parameter)->srcParams.size() != 1 ||
            name == "DRCM" || name == "VCBF" || name == "VBON") {
            continue;
        }
        ++simple;
        change(*parameter, {13, -14, static_cast<int>(simple)});
        EXPECT_THAT(send(), ElementsAre("2 " + name + " 13 -14 " + std::to_string(simple)));
        EXPECT_THAT(send(), IsEmpty()) << name;
    }
    EXPECT_EQ(simple, 66u);
}

TEST_F(TranslatorTest, AFullResendFollowsTheDocumentedOrderAndLeavesEmptyEntries) {
    std::vector<std::string> expected;
    for (const auto& [name, from] : documentedRows()) expected.push_back("2 " + name);
    auto sent = send(&ParameterTranslator::translateAll);
    for (auto& entry : sent)
        entry.resize(entry.find(' ', 2) < entry.size() ? entry.find(' ', 2) : entry.size());
    EXPECT_THAT(sent, ElementsAreArray(expected));
    EXPECT_EQ(expected.size(), 82u);
    EXPECT_NE(source.find(GRAPHIC_EQUALIZER_ENABLE), nullptr);
    EXPECT_THAT(send(), IsEmpty());
}

TEST_F(TranslatorTest, CompositesJoinTheirParts) {
    source.set(REGULATOR_SIBILANCE_SUPPRESS_ENABLE, {1});
    source.set(BASS_MBDRC_ENABLE, {1});
    source.set(VIRTUALIZER_ENABLE, {1});
    source.set(ORIENTATION, {0});
    source.set(OUTPUT_MIX_MATRIX, {7, 8});
    source.set(AUDIO_OPTIMIZER_FREQUENCY, {100, 200});
    source.set(AUDIO_OPTIMIZER_GAIN_R, {3, 4});
    source.set(AUDIO_OPTIMIZER_GAIN_LS, {5, 6});
    source.set(AUDIO_OPTIMIZER_GAIN_RS, {7, 8});
    source.set(COMPLEX_EQUALIZER_TUNING_RIGHT, {4, 5, 6});
    source.set(COMPLEX_EQUALIZER_TUNING_LEFT_SURROUND, {7});
    source.set(COMPLEX_EQUALIZER_TUNING_RIGHT_SURROUND, {8});
    source.set(REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT, {2});
    source.set(REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT_SURROUND, {3});
    source.set(REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_RIGHT_SURROUND, {4});
    source.set(REGULATOR_THRESHOLD_LOW, {-9});
    source.set(REGULATOR_THRESHOLD_HIGH, {-1});
    source.set(REGULATOR_ISOLATED_BAND, {0});
    source.set(REGULATOR_STRESS_AMOUNT, {11, 12});
    source.set(VIRTUAL_BASS_TYPE, {1});
    source.set(GEQ_FREQUENCY, {32, 64});
    source.set(IEQ_FREQUENCY, {65, 136});
    source.set(VIRTUAL_BASS_SRC_FREQ_HIGH, {160});
    source.set(VIRTUAL_BASS_MIX_FREQ_LOW, {94});
    source.set(VIRTUAL_BASS_MIX_FREQ_HIGH, {469});
    struct Row {
        Parameter parameter;
        std::vector<int> values;
        std::vector<std::string> sent;
        std::vector<int> channels = {2};
        Endpoint endpoint = Endpoint::OTHER;
        bool mono = false;
    };
    const auto speaker = Endpoint::SPEAKER;
    const std::vector<Row> rows{
        {DIALOG_ENHANCER_AMOUNT, {16}, {"DEA 12"}},
        {DIALOG_ENHANCER_AMOUNT, {13, 14}, {"DEA 12 14"}},
        {DIALOG_ENHANCER_AMOUNT, {12}, {"DEA 12"}},
        {DIALOG_ENHANCER_AMOUNT, {}, {"DEA"}},
        {GEQ_GAIN, {-5, 6}, {"GEBS 2 32 64 -5 6", "VCBF 32 64"}},
        {GEQ_GAIN, {}, {"GEBS 2 32 64", "VCBF 32 64"}},
        {IEQ_TARGET, {9, 8}, {"IEBS 2 65 136 9 8"}},
        {AUDIO_OPTIMIZER_GAIN_L, {1, 2}, {"AOBS 2 2 100 200 1 2 3 4"}},
        {AUDIO_OPTIMIZER_GAIN_L, {1, 2}, {"AOBS 4 2 100 200 1 2 3 4 5 6 7 8"}, {4}},
        {AUDIO_OPTIMIZER_GAIN_L, {}, {"AOBS 4 2 100 200 3 4 5 6 7 8"}, {6}},
        {COMPLEX_EQUALIZER_TUNING_LEFT, {1, 2, 3}, {"CEQT 2 3 1 2 3 4 5 6"}},
        {COMPLEX_EQUALIZER_TUNING_LEFT, {1, 2, 3}, {"CEQT 4 3 1 2 3 4 5 6 7 8"}, {4}},
        {REGULATOR_SIBILANCE_SUPPRESS_AMOUNTS_LEFT,
         {1},
         {"ARSA 2 11 12", "ARBS 0 -9 -1 0", "RSSA 2 1 1 2"},
         {1}},
        {REGULATOR_FREQUENCY, {50}, {"ARSA 2 11 12", "ARBS 1 50 -9 -1 0", "RSSA 4 1 1 2 3 4"}, {4}},
        {VIRTUALIZER_ENABLE, {1}, {"DOM 1 2 0"}, {}},
        {VIRTUALIZER_ENABLE, {0}, {"DOM 0 4 0 7 8"}, {4}, speaker},
        {OUTPUT_MIX_MATRIX, {7}, {"DOM 0 1 0 7"}, {4}, speaker, true},
        {ORIENTATION, {1}, {"DOM 0 1 1"}, {2}, Endpoint::HEADPHONE, true},
        {VIRTUAL_BASS_ENABLE, {1}, {"VBM 3", "VBON 1"}},
        {VIRTUAL_BASS_ENABLE, {0}, {"VBM 0", "VBON 1"}},
        {VIRTUAL_BASS_ENABLE, {}, {"VBM 0", "VBON 1"}},
        {VIRTUAL_BASS_SRC_FREQ_LOW, {35}, {"VBSF 35 160", "VBMF 94 469"}},
        {CUSTOM_DRC_METADATA, {1, 2}, {"DRCM 1 2"}},
        {BASS_MBDRC_TUNING, {4, 5}, {"BMDT 1 4 5"}},
        {BASS_MBDRC_ENABLE, {}, {"BMDE"}},
        {BASS_MBDRC_TUNING, {4}, {"BMDT 4"}},
        {REGULATOR_SIBILANCE_SUPPRESS_ENABLE, {0}, {"RSSE 0"}},
        {REGULATOR_FREQUENCY, {50}, {"ARSA 2 11 12", "ARBS 1 50 -9 -1 0", "RSSA 2 0 1 2"}},
        {REGULATOR_SIBILANCE_SUPPRESS_ENABLE, {}, {"RSSE"}},
        {REGULATOR_FREQUENCY, {}, {"ARSA 2 11 12", "ARBS 0 -9 -1 0", "RSSA 2 0 1 2"}},
    };
    for (const Row& row : rows) {
        source.set(OUTPUT_CHANNELS, row.channels);
        translator.setSource(&source, row.endpoint, row.mono);
        change(row.parameter, row.values);
        std::vector<std::string> expected;
        for (const auto& entry : row.sent) expected.push_back("2 " + entry);
        EXPECT_THAT(send(), ElementsAreArray(expected)) << infoOf(row.parameter).column;
    }
}

TEST_F(TranslatorTest, WhatIsDueIsSentOnceHoweverManyChangesMadeItSo) {
    change(PEAK_VALUE, {1});
    change(GEQ_GAIN, {3});
    change(GEQ_FREQUENCY, {32});
    change(PEAK_VALUE, {2});
    EXPECT_THAT(send(), ElementsAre("2 GEBS 1 32 3", "2 VCBF 32", "2 DPLP 2"));
    for (const Parameter parameter : {OUTPUT_CHANNELS, VIRTUAL_BASS_MODE, BASS_EXTRACTION_ENABLE,
                                      BASS_EXTRACTION_CUTOFF_FREQUENCY, Parameter{-1}}) {
        translator.onParameterChanged(parameter);
    }
    EXPECT_THAT(send(), IsEmpty());
    change(PEAK_VALUE, {3});
    translator.setSource(nullptr, Endpoint::OTHER, false);
    EXPECT_THAT(send(), IsEmpty());
}

}  // namespace

}  // namespace velora
