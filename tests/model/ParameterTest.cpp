#include "model/Parameter.h"
#include "model/Port.h"

#include <algorithm>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace velora {
namespace {

std::string hyphenated(std::string_view column) {
    std::string element(column);
    std::replace(element.begin(), element.end(), '_', '-');
    return element;
}

TEST(ParameterTest, ElementsAreNamedAfterTheirColumnsWithTheKnownExceptions) {
    std::set<std::string_view> elements;
    std::set<std::string_view> withoutElement;
    std::set<std::string_view> renamed;
    for (const ParameterInfo& info : kParameters) {
        (info.element.empty() ? withoutElement : elements)
            .insert(info.element.empty() ? info.column : info.element);
        EXPECT_EQ(info.element.empty(), info.kind == NodeKind::NONE) << info.column;
        const bool grouped =
            std::count_if(kParameters.begin(), kParameters.end(),
                          [&](auto& other) { return other.element == info.element; }) > 1;
        if (!info.element.empty() && !grouped && info.element != hyphenated(info.column)) {
            renamed.insert(info.element);
        }
    }
    EXPECT_EQ(elements.size(), 89U);
    EXPECT_EQ(withoutElement, (std::set<std::string_view>{"ieq_id", "orientation",
                                                          "output_channels", "virtual_bass_type"}));
    EXPECT_EQ(renamed, (std::set<std::string_view>{"drc-metadata", "output-mode",
                                                   "virtual-bass-process-enable"}));
}

TEST(ParameterTest, ColumnsKeepTheirNumbers) {
    EXPECT_EQ(kParameters.front().column, "advanced_headphone_virtualizer_lr_angle");
    EXPECT_EQ(kParameters.back().column, "volume_modeler_enable");
    // The three that stand out of alphabetical order stay where they are.
    EXPECT_EQ(VIRTUAL_BASS_MIX_FREQUENCY, 80);
    EXPECT_EQ(VIRTUAL_BASS_MIX_FREQ_HIGH, 81);
    EXPECT_EQ(VIRTUAL_BASS_MIX_FREQ_LOW, 82);
    const auto outOfOrder = std::adjacent_find(
        kParameters.begin(), kParameters.end(),
        [](const ParameterInfo& a, const ParameterInfo& b) { return a.column >= b.column; });
    EXPECT_EQ(outOfOrder->parameter, VIRTUAL_BASS_MIX_FREQUENCY);
    for (const ParameterInfo& info : kParameters) {
        EXPECT_EQ(*kParameterOfColumn.find(info.column), info.parameter);
        EXPECT_EQ(std::char_traits<char>::length(info.column.data()), info.column.size());
    }
    EXPECT_EQ(kParameterOfColumn.find("virtual_bass"), nullptr);
}

TEST(ParameterTest, BandListsNameTheirColumnsInTheOrderOfTheFile) {
    const auto columnsOf = [](std::string_view element) {
        std::vector<std::string_view> names(8);
        for (const ParameterInfo& info : kParameters) {
            if (info.element == element) names[static_cast<size_t>(info.position)] = info.column;
        }
        std::erase(names, "");
        return names;
    };
    using Names = std::vector<std::string_view>;
    EXPECT_EQ(
        columnsOf("audio-optimizer-bands"),
        (Names{"audio_optimizer_frequency", "audio_optimizer_gain_l", "audio_optimizer_gain_r",
               "audio_optimizer_gain_ls", "audio_optimizer_gain_rs"}));
    EXPECT_EQ(columnsOf("regulator-tuning"),
              (Names{"regulator_frequency", "regulator_threshold_low", "regulator_threshold_high",
                     "regulator_isolated_band"}));
    EXPECT_EQ(columnsOf("virtual-bass-mix-freqs"),
              (Names{"virtual_bass_mix_freq_low", "virtual_bass_mix_freq_high"}));
    EXPECT_EQ(columnsOf("geq"), (Names{"geq_frequency", "geq_gain"}));
    EXPECT_EQ(columnsOf("ieq"), (Names{"ieq_frequency", "ieq_target"}));
}

TEST(ParameterSetTest, IsWalkedInAscendingOrder) {
    constexpr auto set = ParameterSet() | VOLUME_MODELER_ENABLE | IEQ_ID | OUTPUT_MIX_MATRIX;
    std::vector<Parameter> walked;
    for (const Parameter parameter : set) walked.push_back(parameter);
    EXPECT_EQ(walked, (std::vector{IEQ_ID, OUTPUT_MIX_MATRIX, VOLUME_MODELER_ENABLE}));
    EXPECT_FALSE(set.contains(static_cast<Parameter>(104)));
    EXPECT_FALSE(set.contains(static_cast<Parameter>(-1)));
}

TEST(PortTest, NamesLeadToEndpointsAndPortsToDevices) {
    EXPECT_EQ(*kEndpNameToEndpoint.find("internal_speaker"), Endpoint::SPEAKER);
    for (const char* name : {"headphone", "bluetooth", "usb"}) {
        EXPECT_EQ(*kEndpNameToEndpoint.find(name), Endpoint::HEADPHONE) << name;
    }
    for (const char* name : {"hdmi", "miracast", "other"}) {
        EXPECT_EQ(*kEndpNameToEndpoint.find(name), Endpoint::OTHER) << name;
    }
    EXPECT_EQ(kEndpNameToEndpoint.find("speaker"), nullptr);
    EXPECT_EQ(*kDeviceForPort.find(PORT_USB), 0x4000U);
    EXPECT_EQ(*kPortForDevice.find(0x8000), PORT_MIRACAST);
    EXPECT_EQ(kDeviceForPort.find(PORT_OTHER), nullptr);
    EXPECT_EQ(kPortForDevice.find(kNoDevice), nullptr);
}

}  // namespace
}  // namespace velora
