#pragma once

#include "effect/SfxEffect.h"
#include "effect/SfxParameter.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <velora/EffectParamParser.h>

namespace velora::test {

/// The entries of a block as text, such as "2 VBM 3": device in hexadecimal, name, values.
inline std::vector<std::string> entriesOf(const std::vector<int32_t>& block) {
    EffectParamParser parser(block.data(), static_cast<uint32_t>(block.size() * sizeof(int32_t)));
    if (!parser.validate()) return {"invalid block"};
    std::vector<std::string> entries;
    while (const auto* const entry = parser.next()) {
        const auto* const name =
            std::find_if(kSfxParameterNames.begin(), kSfxParameterNames.end(),
                         [&](std::string_view text) { return sfxCodeOf(text) == entry->id; });
        std::ostringstream words;
        words << std::hex << entry->device << ' ' << std::dec << *name;
        for (uint32_t i = 0; i < entry->count; ++i) words << ' ' << entry->values[i];
        entries.push_back(words.str());
    }
    return entries;
}

/// An effect that records the blocks that it receives.
class RecordingEffect : public SfxEffect {
public:
    RecordingEffect() : SfxEffect(0, android::String16("test")) {}

    int send(int param, const std::vector<int32_t>& data) override {
        blocks.push_back(data);
        return SfxEffect::send(param, data);
    }
    int setEnabled(bool on) override {
        enabled = on;
        return 0;
    }

    /// Removes all recorded blocks and returns their entries.
    std::vector<std::string> drain() {
        std::vector<std::string> entries;
        for (const auto& block : std::exchange(blocks, {})) {
            for (auto& entry : entriesOf(block)) entries.push_back(std::move(entry));
        }
        return entries;
    }

    std::vector<std::vector<int32_t>> blocks;
    bool enabled = false;
};

}  // namespace velora::test
