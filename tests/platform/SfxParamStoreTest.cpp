#include <memory>
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
    EXPECT_TRUE(isValid({2, 0}));
    EXPECT_TRUE(isValid({2, 1, 8, 0x6e6f6276, 0}));
    EXPECT_TRUE(isValid({2, 2, 8, 100, 2, 5, 6, 16, 101, 1, 7}));
    const Block refused[] = {
        {},                       // nothing
        {2},                      // no count of entries
        {2, 1},                   // an entry missing
        {2, 1, 8, 100},           // an entry's head cut short
        {2, 1, 8, 100, 2, 5},     // a value missing
        {2, 1, 8, 100, 1, 5, 6},  // a word too many
        {2, 0, 8, 100, 0},        // an entry too many
        {2, -1, 8, 100, 0},       // a negative count of entries
        {2, 1, 8, 100, -1},       // a negative count of values
        {2, 1, 8, 100, INT32_MAX, 5},
        {2, INT32_MAX, 8, 100, 0},
    };
    for (const Block& block : refused)
        EXPECT_FALSE(isValid(block)) << testing::PrintToString(block);

    const Block block{2, 1, 8, 100, 0, 0};
    EXPECT_FALSE(EffectParamParser(block.data(), 19).validate());  // no whole words
    EXPECT_FALSE(EffectParamParser(nullptr, 20).validate());
    const auto* const bytes = reinterpret_cast<const char*>(block.data());
    EXPECT_FALSE(EffectParamParser(bytes + 1, 20).validate());  // not aligned
}

TEST(EffectParamParserTest, WalksTheEntriesInOrder) {
    const Block block{2, 3, 8, 100, 2, 5, 6, 16, 101, 0, -1, 102, 1, -7};
    EffectParamParser parser(block.data(), static_cast<uint32_t>(block.size() * 4));
    ASSERT_TRUE(parser.validate());
    for (int round = 0; round < 2; ++round) {
        Block words;
        parser.begin();
        while (const auto* const entry = parser.next()) {
            words.insert(words.end(),
                         {static_cast<int32_t>(entry->device), static_cast<int32_t>(entry->id)});
            words.insert(words.end(), entry->values, entry->values + entry->count);
        }
        EXPECT_EQ(words, Block({8, 100, 5, 6, 16, 101, -1, 102, -7}));
    }
}

TEST(SfxParamStoreTest, PublishesWhatWasStagedWithTheNextCommit) {
    auto& store = SfxParamStore::getInstance();
    const auto read = [&](bool committed) {
        SfxParamStore::Caches caches;
        int count = 0;
        EXPECT_EQ(store.getStoredParams(&caches, committed, &count), 0);
        EXPECT_EQ(count, static_cast<int>(caches.size()));
        EXPECT_EQ(caches.keyAt(0), 8U);
        return caches.valueAt(0)->params();
    };
    int commits = 0;
    store.setListener([&] { ++commits; });
    const int32_t values[] = {1, 2, 3};
    EXPECT_EQ(store.setParam(8, 100, values, 3), 0);
    EXPECT_EQ(store.setParam(8, 101, nullptr, 0), 0);
    EXPECT_EQ(store.setParam(16, 100, values, 1), 0);
    EXPECT_EQ(store.setParam(8, 100, nullptr, 1), -22);
    const SfxParamCache::Params expected{{100, {1, 2, 3}}, {101, {}}};
    EXPECT_EQ(read(false), expected);
    EXPECT_NE(read(true), expected);
    EXPECT_EQ(commits, 0);

    EXPECT_EQ(store.commitChange(), 0);
    EXPECT_EQ(read(true), expected);
    EXPECT_EQ(commits, 1);

    EXPECT_EQ(store.setParam(8, 100, values, 1), 0);
    EXPECT_EQ(read(true), expected);
    struct Stages {  // a listener that comes back to the store when it goes
        ~Stages() { SfxParamStore::getInstance().setParam(16, 7, nullptr, 0); }
    };
    store.setListener([stages = std::make_shared<Stages>()] {});
    store.setListener(nullptr);
    EXPECT_EQ(store.commitChange(), 0);
    EXPECT_EQ(read(true).at(100), std::vector<int32_t>{1});
    EXPECT_EQ(commits, 1);

    int count = 0;
    EXPECT_EQ(store.getStoredParams(nullptr, true, &count), -22);
}

}  // namespace
}  // namespace velora
