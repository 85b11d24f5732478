#include "util/Integers.h"
#include "util/Words.h"

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

TEST(WordsTest, AWordThatIsOnlyPartlyInsideTheBufferReadsAsZero) {
    const int32_t buffer[] = {1, 2, 3};
    const Words words(buffer, sizeof buffer - 1);
    EXPECT_EQ(words[1], 2);
    EXPECT_EQ(words[2], 0);
    EXPECT_EQ(words.from(1), std::vector<int>{2});
}

}  // namespace
}  // namespace velora
