#include <vector>

#include <gtest/gtest.h>

#include <velora/EffectParamParser.h>
#include <velora/SfxParamStore.h>

namespace velora {
namespace {

using Block = std::vector<int32_t>;

bool isValid(const Block& block) {
    return EffectParamParser(block.data(), static_cast<uint32_t>(block.size() * 4)).validate();
}

TEST(EffectParamParserTest, AcceptsABlockOnlyIfItsWordsAreExactlyItsEntries) {
    const Block block{2, 3, 8, 100, 2, 5, 6, 16, 101, 0, -1, 102, 1, -7};
    EXPECT_TRUE(isValid(block));
    EXPECT_TRUE(isValid({2, 0})) << "without entries";
    for (auto end = block.begin(); end != block.end(); ++end)
        EXPECT_FALSE(isValid(Block(block.begin(), end))) << "incomplete";
    for (const size_t count : {1U, 4U, 9U, 12U}) {  // of entries, or of an entry's values
        for (const int32_t wrong : {-1, block[count] - 1, block[count] + 1, INT32_MAX}) {
            Block changed = block;
            changed[count] = wrong;
            EXPECT_FALSE(isValid(changed)) << testing::PrintToString(changed);
        }
    }
}

TEST(SfxParamStoreTest, PublishesStagedParametersWithTheNextCommit) {
    auto& store = SfxParamStore::getInstance();
    const int32_t values[] = {1, 2, 3};
    store.setParam(8, 100, values, 3);

    SfxParamStore::Caches staged, published;
    int count = 0;
    EXPECT_EQ(store.getStoredParams(&staged, /*committed=*/false, &count), 0);
    EXPECT_EQ(store.getStoredParams(&published, /*committed=*/true, &count), 0);
    const SfxParamCache::Params expected{{100, {1, 2, 3}}};
    EXPECT_EQ(staged.valueAt(0)->params(), expected);
    EXPECT_TRUE(published.valueAt(0)->params().empty());

    EXPECT_EQ(store.commitChange(), 0);
    store.setParam(8, 100, values, 1);
    EXPECT_EQ(published.valueAt(0)->params(), expected);
}

}  // namespace
}  // namespace velora
