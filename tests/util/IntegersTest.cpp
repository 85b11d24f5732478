#include "util/Integers.h"

#include <gtest/gtest.h>

namespace velora {
namespace {

TEST(IntegersTest, ReadingEndsAtTheFirstTextThatIsNotANumber) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"", {"", "abc", "+-5", "- 5", "2147483648", "99999999999999999999"}},
        {"1", {"1.9", "+1", "1abc", " \t\n1", "1,,2", "1 ,2", "1;2", "1,99999999999,3"}},
        {"2147483647,-2147483648,3", {"2147483647 -2147483648 3,", "2147483647, -2147483648,+3x"}},
    };
    for (const auto& [values, texts] : cases) {
        for (const char* text : texts) {
            std::vector<int> read;
            string2IntVector(text, read);
            EXPECT_EQ(intVector2String(read), values) << text;
            EXPECT_EQ(string2Int(text), read.empty() ? 0 : read[0]) << text;
        }
    }
}

}  // namespace
}  // namespace velora
