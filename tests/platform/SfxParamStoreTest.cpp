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
    EXPECT_TRUE(isValid(block) && isValid({2, 0}));
    for (auto end = block.begin(); end != block.end(); ++end)
        EXPECT_FALSE(isValid(Block(block.begin(), end))) << "cut short";
    for (const size_t count : {1U, 4U, 9U, 12U}) {  // of entries, or of an entry's values
        for (const int32_t wrong : {-1, block[count] - 1, block[count] + 1, INT32_MAX}) {
            Block changed = block;
            changed[count] = wrong;
            EXPECT_FALSE(isValid(changed)) << testing::PrintToString(changed);
        }
    }
    const auto* const bytes = reinterpret_cast<const char*>(block.data());
    EXPECT_FALSE(EffectParamParser(bytes, 57).validate()) << "no whole words";
    EXPECT_FALSE(EffectParamParser(bytes + 1, 56).validate()) << "not aligned";
    EXPECT_FALSE(EffectParamParser(nullptr, 56).validate());
}

TEST(SfxParamStoreTest, PublishesWhatWasStagedWithTheNextCommit) {
    auto& store = SfxParamStore::getInstance();
    const auto read = [&](bool committed) {
        SfxParamStore::Caches caches;
        int count = 0;
        EXPECT_EQ(store.getStoredParams(&caches, committed, &count) + count, 2);
        return caches.valueAt(0)->params();
    };
    int commits = 0;
    store.setListener([&] { ++commits; });
    const int32_t values[] = {1, 2, 3};
    store.setParam(8, 100, values, 3);
    EXPECT_EQ(store.setParam(8, 101, nullptr, 0), 0);
    store.setParam(16, 100, values, 1);
    EXPECT_EQ(store.setParam(8, 100, nullptr, 1), -22);
    const SfxParamCache::Params expected{{100, {1, 2, 3}}, {101, {}}};
    EXPECT_EQ(read(false), expected);
    EXPECT_TRUE(read(true).empty());
    EXPECT_EQ(store.commitChange() + commits, 1);
    store.setParam(8, 100, values, 1);
    EXPECT_EQ(read(true), expected);
    store.setListener(nullptr);
}

}  // namespace
}  // namespace velora
