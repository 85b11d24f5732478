#include "model/Parameter.h"
#include "model/Port.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace velora {
namespace {

TEST(ParameterTest, ElementsAreNamedAfterTheirColumnsWithTheKnownExceptions) {
    std::map<std::string_view, int> exceptions;  // with the number of their columns
    for (const ParameterInfo& info : kParameters) {
        std::string element(info.column);
        std::replace(element.begin(), element.end(), '_', '-');
        if (info.element != element) ++exceptions[info.element];
    }
    std::string text;
    for (const auto& [element, columns] : exceptions)
        text.append(element).append(":" + std::to_string(columns) + " ");
    EXPECT_EQ(text,
              ":4 audio-optimizer-bands:5 drc-metadata:1 geq:2 ieq:2 output-mode:1 "
              "regulator-tuning:4 virtual-bass-mix-freqs:2 virtual-bass-process-enable:1 "
              "virtual-bass-src-freqs:2 ");
}

TEST(ParameterTest, ColumnsKeepTheirNumbers) {
    std::vector<std::string_view> columns;
    for (const ParameterInfo& info : kParameters) {
        columns.push_back(info.column);
        EXPECT_EQ(*kParameterOfColumn.find(info.column), info.parameter);
        EXPECT_EQ(std::char_traits<char>::length(info.column.data()), info.column.size());
    }
    EXPECT_EQ(columns.front(), "advanced_headphone_virtualizer_lr_angle");
    EXPECT_EQ(columns.back(), "volume_modeler_enable");
    EXPECT_EQ(kParameterOfColumn.find("virtual_bass"), nullptr);
    // The three that stand out of alphabetical order stay where they are.
    std::rotate(columns.begin() + 80, columns.begin() + 81, columns.begin() + 83);
    EXPECT_EQ(columns[82], "virtual_bass_mix_frequency");
    EXPECT_TRUE(std::is_sorted(columns.begin(), columns.end()));
}

TEST(ParameterSetTest, HoldsParametersOnlyAndIsWalkedInAscendingOrder) {
    auto set = ParameterSet() | VOLUME_MODELER_ENABLE | IEQ_ID | OUTPUT_MIX_MATRIX;
    for (const int number : {-1, 104, 128, 200, INT32_MAX}) {
        set = set | static_cast<Parameter>(number);
        EXPECT_FALSE(set.contains(static_cast<Parameter>(number)));
    }
    std::vector<Parameter> walked;
    for (const Parameter parameter : set) walked.push_back(parameter);
    EXPECT_EQ(walked, (std::vector{IEQ_ID, OUTPUT_MIX_MATRIX, VOLUME_MODELER_ENABLE}));
    EXPECT_EQ(set.size(), 3U);
}

TEST(PortTest, NamesLeadToEndpointsAndPortsToDevices) {
    const std::tuple<const char*, Endpoint, Port, AndroidDevice> rows[] = {
        {"internal_speaker", Endpoint::SPEAKER, PORT_INTERNAL_SPEAKER, 0x2},
        {"hdmi", Endpoint::OTHER, PORT_HDMI, 0x400},
        {"miracast", Endpoint::OTHER, PORT_MIRACAST, 0x8000},
        {"headphone", Endpoint::HEADPHONE, PORT_HEADPHONE, 0x8},
        {"bluetooth", Endpoint::HEADPHONE, PORT_BLUETOOTH, 0x80},
        {"usb", Endpoint::HEADPHONE, PORT_USB, 0x4000},
    };
    for (const auto& [name, endpoint, port, device] : rows) {
        EXPECT_EQ(*kEndpNameToEndpoint.find(name), endpoint) << name;
        EXPECT_EQ(*kDeviceForPort.find(port), device) << name;
        EXPECT_EQ(*kPortForDevice.find(device), port) << name;
    }
    EXPECT_EQ(*kEndpNameToEndpoint.find("other"), Endpoint::OTHER);
    EXPECT_EQ(kEndpNameToEndpoint.find("speaker"), nullptr);
    EXPECT_EQ(kDeviceForPort.find(PORT_OTHER), nullptr);
    EXPECT_EQ(kPortForDevice.find(kNoDevice), nullptr);
}

}  // namespace
}  // namespace velora
