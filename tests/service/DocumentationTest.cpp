#include "model/Port.h"
#include "service/AdapterParameter.h"
#include "tests/support/TestFiles.h"

#include <vector>

#include <gmock/gmock.h>

namespace velora {
namespace {

/// The rows of the first table below a heading of docs/clients.md.
std::vector<std::string> rowsBelow(const std::string& heading) {
    std::istringstream doc(test::contentsOf(test::sourceFile("docs/clients.md")));
    std::string line;
    while (line != heading && std::getline(doc, line)) continue;
    while (!line.starts_with("|---") && std::getline(doc, line)) continue;
    std::vector<std::string> rows;
    while (std::getline(doc, line) && line.starts_with("| ")) rows.push_back(line);
    return rows;
}

/// What the table calls the holder of a parameter, in the order of `Scope`.
constexpr const char* kHolders[] = {
    "the profile", "each class of output", "each class of output", "headphone",
    "speaker",     "the profile"};

TEST(DocumentationTest, TheTableOfParametersHasTheNumbersRangesAndHoldersOfTheService) {
    const auto rows = rowsBelow("## Parameters");
    ASSERT_EQ(rows.size(), kAdapterParameters.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        const AdapterParameter& row = kAdapterParameters[i];
        const bool byPresets = row.max == kUpToIeqPresets;
        const std::string max = byPresets ? "the number of presets" : std::to_string(row.max);
        EXPECT_THAT(rows[i], testing::StartsWith("| " + std::to_string(row.id) + " |"));
        EXPECT_THAT(rows[i], testing::EndsWith(" | " + std::to_string(row.min) + " to " + max +
                                               " | " + std::to_string(row.length) + " | " +
                                               kHolders[static_cast<size_t>(row.scope)] + " |"));
    }
}

TEST(DocumentationTest, TheTableOfPortsHasTheNamesClassesAndOutputDevicesOfTheModel) {
    const auto rows = rowsBelow("## Ports");
    ASSERT_EQ(rows.size(), kPorts.size());
    for (const PortInfo& port : kPorts) {
        std::ostringstream row;
        row << "| " << port.port << " | `" << port.name << "` | " << endpointName(port.endpoint);
        row << " | " << std::hex << std::showbase << port.device << " |";
        EXPECT_EQ(rows[static_cast<size_t>(port.port)], row.str());
    }
}

}  // namespace
}  // namespace velora
