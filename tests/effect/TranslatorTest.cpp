#include "effect/DeviceParameters.h"
#include "effect/ParameterTranslator.h"
#include "effect/SetParamCommand.h"
#include "tests/support/EffectBlocks.h"
#include "tests/support/TestFiles.h"

#include <gmock/gmock.h>

#include <velora/SfxParamStore.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TranslatorTest : public testing::Test {
protected:
    /// The entries sent for the pending translators, without the device.
    std::vector<std::string> send() {
        SetParamCommand command(kNoDevice);
        command.setDeviceId(2);
        translator.translatePending(command);
        command.execute(effect);
        std::vector<std::string> entries = effect.drain();
        for (std::string& entry : entries) entry.erase(0, 2);
        return entries;
    }

    ParameterTranslator translator;
    DeviceParameters source{&translator};
    RecordingEffect effect;
};

// A row of docs/effect-block.md with one parameter in backquotes is a simple translator's.
TEST_F(TranslatorTest, AChangeOfAllParametersSendsTheDocumentedEntriesInOrder) {
    for (const ParameterInfo& info : kParameters) {
        source.set(info.parameter, {0, -info.parameter});
        translator.onParameterChanged(info.parameter);
    }
    std::istringstream doc(contentsOf(sourceFile("docs/effect-block.md")));
    std::string row;
    while (row != "| Effect parameter | Values |") ASSERT_TRUE(std::getline(doc, row));
    std::getline(doc, row);
    for (std::string entry : send()) {
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
    EXPECT_THAT(send(), IsEmpty());
}

// The sources of a translator are set to 13 14 15, to 23 24, to 33 34 and so on, in their order.
TEST_F(TranslatorTest, ACompositeTranslatorSendsAllItsSourcesWhenAnyOfThemChanges) {
    const struct {
        Parameter firstSource;
        std::vector<std::string> sent;
        std::vector<std::string> sentToMonoSpeaker = sent;  ///< with four channels
    } rows[] = {
        {DIALOG_ENHANCER_AMOUNT, {"DEA 12 14 15"}},
        {GEQ_FREQUENCY, {"GEBS 3 13 14 15 23 24", "VCBF 13 14 15"}},
        {IEQ_FREQUENCY, {"IEBS 3 13 14 15 23 24"}},
        {AUDIO_OPTIMIZER_FREQUENCY,
         {"AOBS 2 3 13 14 15 23 24 43 44"},
         {"AOBS 4 3 13 14 15 23 24 43 44 33 34 53 54"}},
        {REGULATOR_STRESS_AMOUNT,
         {"ARSA 3 13 14 15", "ARBS 2 23 24 53 54 43 44 33 34", "RSSA 2 1 63 64 83 84"},
         {"ARSA 3 13 14 15", "ARBS 2 23 24 53 54 43 44 33 34", "RSSA 4 1 63 64 83 84 73 74 93 94"}},
        {VIRTUAL_BASS_ENABLE, {"VBM 3", "VBON 23 24"}},
        {VIRTUAL_BASS_SRC_FREQ_LOW, {"VBSF 13 14 15 23 24", "VBMF 33 34 43 44"}},
        {VIRTUALIZER_ENABLE, {"DOM 13 14 15 2 33 34"}, {"DOM 13 14 15 1 33 34 23 24"}},
        {COMPLEX_EQUALIZER_TUNING_LEFT,
         {"CEQT 2 3 13 14 15 33 34"},
         {"CEQT 4 3 13 14 15 33 34 23 24 43 44"}},
        {BASS_MBDRC_TUNING, {"BMDT 1 13 14 15"}},
    };
    source.set(REGULATOR_SIBILANCE_SUPPRESS_ENABLE, {1});
    source.set(BASS_MBDRC_ENABLE, {1});
    for (const auto& row : rows) {
        const auto parts = getTranslator(row.firstSource)->srcParams;
        int ten = 0;
        for (const Parameter part : parts) source.set(part, {(ten += 10) + 3, ten + 4});
        source.set(row.firstSource, {13, 14, 15});
        for (const bool speaker : {false, true}) {
            source.set(OUTPUT_CHANNELS, {speaker ? 4 : 2});
            translator.setSource(&source, speaker ? Endpoint::SPEAKER : Endpoint::OTHER, speaker);
            for (const Parameter part : parts) {
                translator.onParameterChanged(part);
                EXPECT_EQ(send(), speaker ? row.sentToMonoSpeaker : row.sent);
            }
        }
    }
    source.set(OUTPUT_CHANNELS, {6});
    translator.onParameterChanged(AUDIO_OPTIMIZER_GAIN_L);
    EXPECT_THAT(send(), ElementsAre(testing::StartsWith("AOBS 4 "))) << "at most four channels";
}

TEST_F(TranslatorTest, APendingTranslatorSendsItsEntriesOnceEvenWithoutValues) {
    for (const Parameter changed :
         {PEAK_VALUE, GEQ_GAIN, GEQ_FREQUENCY, DIALOG_ENHANCER_AMOUNT, AUDIO_OPTIMIZER_GAIN_L,
          REGULATOR_FREQUENCY, VIRTUAL_BASS_ENABLE, VIRTUALIZER_ENABLE, PEAK_VALUE, OUTPUT_CHANNELS,
          Parameter{-1}}) {
        translator.onParameterChanged(changed);
    }
    translator.setSource(&source, Endpoint::OTHER, false);  // they stay pending
    EXPECT_THAT(send(), ElementsAre("GEBS 0", "VCBF", "AOBS 2 0", "DEA", "ARSA 0", "ARBS 0",
                                    "RSSA 2 0", "VBM 0", "VBON", "DOM 2", "DPLP"));
    EXPECT_NE(source.find(PEAK_VALUE), nullptr) << "a simple translator adds an empty entry";
}

TEST_F(TranslatorTest, SendsNothingWithoutASourceAndForgetsWhatWasPending) {
    translator.onParameterChanged(PEAK_VALUE);
    translator.setSource(nullptr, Endpoint::OTHER, false);
    EXPECT_THAT(send(), IsEmpty());
    translator.setSource(&source, Endpoint::OTHER, false);
    EXPECT_THAT(send(), IsEmpty());
}

TEST_F(TranslatorTest, ATuningSendsOnlyWhatItChangesForItsClassOfOutput) {
    Tuning tuning("t", Endpoint::SPEAKER, true);
    tuning.set(VIRTUALIZER_ENABLE, {1});
    tuning.set(HEIGHT_FILTER_MODE, {2});
    tuning.set(HEADPHONE_VIRTUALIZER_MODE, {3});  // not valid in the view of a device
    source.setTuning(tuning);
    EXPECT_THAT(send(), ElementsAre("DOM 1 1", "DHFM 2"));
    tuning.set(HEIGHT_FILTER_MODE, {});
    source.setTuning(tuning);
    EXPECT_THAT(send(), IsEmpty());
    EXPECT_THAT(source.get(HEIGHT_FILTER_MODE), ElementsAre(2));
}

TEST_F(TranslatorTest, ACommandSendsAndCommitsItsBlockOnceUnlessItIsEmpty) {
    int commits = 0;
    SfxParamStore::getInstance().setListener([&] { ++commits; });
    SetParamCommand command(AUDIO_DEVICE_OUT_SPEAKER);
    EXPECT_EQ(command.execute(effect), 0);
    EXPECT_TRUE(effect.blocks.empty());
    command.add(SfxParameter::VBON, 5);
    EXPECT_EQ(command.execute(effect), -22);
    EXPECT_THAT(effect.blocks, ElementsAre(ElementsAre(2, 1, -1, 0x6E6F6276, 1, 5)));
    EXPECT_EQ(commits, 1);
    effect.send(0, {2, 1});
    EXPECT_EQ(commits, 1) << "an invalid block is dropped";
    SfxParamStore::getInstance().setListener(nullptr);
}

}  // namespace
}  // namespace velora::test
