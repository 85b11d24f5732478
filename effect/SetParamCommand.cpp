#include "effect/SetParamCommand.h"

#include "effect/SfxEffect.h"

namespace velora {

namespace {

constexpr size_t kCountWord = 1;  // the block begins with the target and the number of entries

size_t totalSize(SetParamCommand::Parts parts) {
    size_t size = 0;
    for (const auto* const part : parts) size += part->size();
    return size;
}

}  // namespace

SetParamCommand::SetParamCommand(AndroidDevice target) : mBlock{static_cast<int32_t>(target), 0} {}

int SetParamCommand::execute(SfxEffect& effect) {
    if (mCount == 0) return 0;
    mBlock[kCountWord] = mCount;
    return effect.send(0, mBlock);
}

void SetParamCommand::beginEntry(SfxParameter parameter, size_t count) {
    mBlock.insert(mBlock.end(), {mDevice, static_cast<int32_t>(sfxCodeOf(parameter)),
                                 static_cast<int32_t>(count)});
    ++mCount;
}

void SetParamCommand::add(SfxParameter parameter, int value) { add(parameter, value, {}); }

void SetParamCommand::add(SfxParameter parameter, const Values& values) {
    add(parameter, Parts{&values});
}

void SetParamCommand::add(SfxParameter parameter, Parts parts) {
    beginEntry(parameter, totalSize(parts));
    for (const auto* const part : parts) append(*part);
}

void SetParamCommand::add(SfxParameter parameter, int first, Parts parts) {
    beginEntry(parameter, 1 + totalSize(parts));
    mBlock.push_back(first);
    for (const auto* const part : parts) append(*part);
}

}  // namespace velora
