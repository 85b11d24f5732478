#include "util/Words.h"

#include <gtest/gtest.h>

namespace velora {
namespace {

TEST(WordsTest, AWordThatIsOnlyPartlyInsideTheBufferReadsAsZero) {
    const int32_t buffer[] = {1, 2, 3};
    const Words words(buffer, sizeof buffer - 1);
    EXPECT_EQ(words[1], 2);
    EXPECT_EQ(words[2], 0);
    EXPECT_EQ(words.from(1), std::vector<int>{2});
}

}  // namespace
}  // namespace velora
