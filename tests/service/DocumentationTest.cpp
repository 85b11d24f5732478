#include "model/Port.h"
#include "service/AdapterParameter.h"
#include "tests/support/TestFiles.h"

#include <gmock/gmock.h>

namespace velora {
namespace {

const std::string doc = test::contentsOf(test::sourceFile("docs/clients.md"));

/// What the table calls the holder of a parameter, in the order of `Scope`.
constexpr const char* kHolders[] = {
    "the profile", "each class of output", "each class of output", "headphone",
    "speaker",     "the profile"};

/// The name of a parameter in the table.
std::string nameOf(const AdapterParameter& row) {
    const bool isOfOneEndpoint = row.scope == Scope::HEADPHONE || row.scope == Scope::SPEAKER;
    const std::string endpoint = kHolders[static_cast<size_t>(row.scope)];
    const std::string column(parameterInfo(row.parameter).column);
    return isOfOneEndpoint ? endpoint + "_" + column : column;
}

TEST(DocumentationTest, TheTableOfParametersHasTheNamesRangesAndHoldersOfTheService) {
    std::ostringstream table;
    for (const AdapterParameter& row : kAdapterParameters) {
        const bool byPresets = row.max == kUpToIeqPresets;
        table << "[|] " << row.id << " [|] `" << nameOf(row) << "` [|][^|]+[|][^|]+[|] " << row.min
              << " to " << (byPresets ? "the number of presets" : std::to_string(row.max))
              << " [|] " << row.length << " [|] " << kHolders[static_cast<size_t>(row.scope)]
              << " [|]\n";
    }
    EXPECT_THAT(doc, testing::ContainsRegex("-[|]\n" + table.str() + "\n"));
}

TEST(DocumentationTest, TheTableOfPortsHasTheNamesClassesAndOutputDevicesOfTheModel) {
    std::ostringstream table;
    for (const PortInfo& port : kPorts) {
        table << "| " << std::dec << port.port << " | `" << port.name << "` | "
              << endpointName(port.endpoint) << " | " << std::hex << std::showbase << port.device
              << " |\n";
    }
    EXPECT_THAT(doc, testing::HasSubstr("-|\n" + table.str() + "\n"));
}

}  // namespace
}  // namespace velora
