#include "model/Parameter.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(ParameterTest, ColumnsAndElementsKeepTheirNamesAndPlaces) {
    std::vector<std::string> columns;
    std::map<std::string_view, int> others;  // elements not named after their column, with a count
    for (const ParameterInfo& info : kParameters) {
        columns.emplace_back(info.column);
        std::string element(info.column);
        std::replace(element.begin(), element.end(), '_', '-');
        if (info.element != element) ++others[info.element];
    }
    EXPECT_THAT(
        others,
        ElementsAre(Pair("", 4), Pair("audio-optimizer-bands", 5), Pair("drc-metadata", 1),
                    Pair("geq", 2), Pair("ieq", 2), Pair("output-mode", 1),
                    Pair("regulator-tuning", 4), Pair("virtual-bass-mix-freqs", 2),
                    Pair("virtual-bass-process-enable", 1), Pair("virtual-bass-src-freqs", 2)));
    EXPECT_EQ(columns.front(), "advanced_headphone_virtualizer_lr_angle");
    // The three that stand out of alphabetical order stay where they are.
    std::rotate(columns.begin() + 80, columns.begin() + 81, columns.begin() + 83);
    EXPECT_EQ(columns[82], "virtual_bass_mix_frequency");
    EXPECT_TRUE(std::is_sorted(columns.begin(), columns.end()));
}

}  // namespace
}  // namespace velora
