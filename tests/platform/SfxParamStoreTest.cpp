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

const Block kBlock{2, 3, 8, 100, 2, 5, 6, 16, 101, 0, -1, 102, 1, -7};

TEST(EffectParamParserTest, AcceptsABlockOnlyIfItsWordsAreExactlyItsEntries) {
    EXPECT_TRUE(isValid(kBlock) && isValid({2, 0}));
    for (auto end = kBlock.begin(); end != kBlock.end(); ++end)
        EXPECT_FALSE(isValid(Block(kBlock.begin(), end))) << "cut short";
    for (const size_t count : {1U, 4U, 9U, 12U}) {  // of entries, or of an entry's values
        for (const int32_t wrong : {-1, kBlock[count] - 1, kBlock[count] + 1, INT32_MAX}) {
            Block block = kBlock;
            block[count] = wrong;
            EXPECT_FALSE(isValid(block)) << testing::PrintToString(block);
        }
    }
    EXPECT_FALSE(isValid({2, 1, 8, 100, 1, 5, 6})) << "a word too many";
    const auto* const bytes = reinterpret_cast<const char*>(kBlock.data());
    EXPECT_FALSE(EffectParamParser(bytes, 57).validate()) << "no whole words";
    EXPECT_FALSE(EffectParamParser(bytes + 1, 56).validate()) << "not aligned";
    EXPECT_FALSE(EffectParamParser(nullptr, 56).validate());
}

TEST(EffectParamParserTest, WalksTheEntriesInOrder) {
    EffectParamParser parser(kBlock.data(), static_cast<uint32_t>(kBlock.size() * 4));
    for (int round = 0; round < 2; ++round) {
        Block words{2, 3};
        parser.begin();
        while (const auto* const entry = parser.next()) {
            for (const uint32_t word : {entry->device, entry->id, entry->count})
                words.push_back(static_cast<int32_t>(word));
            words.insert(words.end(), entry->values, entry->values + entry->count);
        }
        EXPECT_EQ(words, kBlock);
    }
}

TEST(SfxParamStoreTest, PublishesWhatWasStagedWithTheNextCommit) {
    auto& store = SfxParamStore::getInstance();
    const auto read = [&](bool committed) {
        SfxParamStore::Caches caches;
        int count = 0;
        EXPECT_EQ(store.getStoredParams(&caches, committed, &count), 0);
        EXPECT_EQ(count, 2);
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
    EXPECT_TRUE(read(true).empty());
    EXPECT_EQ(commits, 0);
    EXPECT_EQ(store.commitChange(), 0);
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
    int count = 0;
    EXPECT_EQ(store.getStoredParams(nullptr, true, &count), -22);
}

}  // namespace
}  // namespace velora
