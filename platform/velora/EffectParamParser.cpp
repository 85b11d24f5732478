#include <velora/EffectParamParser.h>

namespace velora {

namespace {

constexpr size_t kEntryHeaderWords = 3;  // device, parameter, count of values

std::span<const int32_t> wordsOf(const void* data, uint32_t size) {
    const bool aligned = reinterpret_cast<uintptr_t>(data) % alignof(int32_t) == 0;
    if (data == nullptr || !aligned || size % sizeof(int32_t) != 0) return {};
    return {static_cast<const int32_t*>(data), size / sizeof(int32_t)};
}

}  // namespace

EffectParamParser::EffectParamParser(const void* data, uint32_t size)
    : mWords(wordsOf(data, size)) {}

bool EffectParamParser::validate() const {
    if (mWords.size() < kHeaderWords) return false;

    size_t word = kHeaderWords;
    int32_t entries = 0;
    for (Entry entry{}; entryAt(word, &entry) != nullptr; ++entries) {
        word += kEntryHeaderWords + entry.count;
    }

    return word == mWords.size() && entries == mWords[kCountWord];
}

void EffectParamParser::begin() { mNext = kHeaderWords; }

const EffectParamParser::Entry* EffectParamParser::next() {
    if (entryAt(mNext, &mEntry) == nullptr) return nullptr;
    mNext += kEntryHeaderWords + mEntry.count;
    return &mEntry;
}

// Null unless a whole entry begins at `word`.
const EffectParamParser::Entry* EffectParamParser::entryAt(size_t word, Entry* entry) const {
    if (word > mWords.size() || mWords.size() - word < kEntryHeaderWords) return nullptr;

    // A negative count, read as unsigned, exceeds the size of any block.
    const auto rest = mWords.subspan(word);
    const auto count = static_cast<uint32_t>(rest[2]);
    if (count > rest.size() - kEntryHeaderWords) return nullptr;

    *entry = {static_cast<audio_devices_t>(rest[0]), static_cast<SfxParameterId>(rest[1]),
              rest.data() + kEntryHeaderWords, count};
    return entry;
}

}  // namespace velora
