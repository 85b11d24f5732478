// A block of any bytes is refused, or is exactly the words of its entries.

#include "effect/SfxEffect.h"
#include "fuzz/Check.h"

#include <cstring>
#include <vector>

#include <velora/EffectParamParser.h>
#include <velora/SfxParamStore.h>

using velora::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    velora::fuzz::dropLog();
    // A copy of the exact size, so that reading beyond it is noticed.
    const std::vector<uint8_t> block(data, data + size);
    const auto bytes = static_cast<uint32_t>(size);

    velora::EffectParamParser parser(block.data(), bytes);
    const bool valid = parser.validate();
    std::vector<int32_t> words(2);
    if (size >= 8) memcpy(words.data(), block.data(), 8);
    int32_t entries = 0;
    bool fewNames = true;  // the store never forgets a device or a parameter
    while (const auto* const entry = valid ? parser.next() : nullptr) {
        words.insert(words.end(),
                     {static_cast<int32_t>(entry->device), static_cast<int32_t>(entry->id),
                      static_cast<int32_t>(entry->count)});
        words.insert(words.end(), entry->values, entry->values + entry->count);
        ++entries;
        fewNames = fewNames && entry->device < 16 && entry->id < 16;
    }
    if (valid) {
        check(words[1] == entries);
        check(words.size() * 4 == size);
        check(memcmp(words.data(), block.data(), size) == 0);
    }
    if (!fewNames) return 0;

    int commits = 0;
    auto& store = velora::SfxParamStore::getInstance();
    store.setListener([&] { ++commits; });
    velora::SfxEffect::sendSharedStore(block.data(), bytes);
    store.setListener(nullptr);
    check(commits == (valid ? 1 : 0));
    return 0;
}
