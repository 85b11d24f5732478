#define LOG_TAG "SfxEffect"

#include "effect/SfxEffect.h"

#include <log/log.h>
#include <utils/Errors.h>
#include <velora/EffectParamParser.h>
#include <velora/SfxParamStore.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kInvalidBlockMessage[] = "%s() Invalid data for setting parameter values.";

}  // namespace

SfxEffect::SfxEffect(int, const android::String16&) {}

int SfxEffect::send(int, const std::vector<int32_t>& data) {
    sendSharedStore(data.data(), static_cast<uint32_t>(data.size() * sizeof(int32_t)));
    return android::BAD_VALUE;
}

int SfxEffect::receive(int, std::vector<int32_t>&) { return android::OK; }

int SfxEffect::setEnabled(bool) { return android::OK; }

void SfxEffect::sendSharedStore(const void* data, uint32_t size) {
    EffectParamParser parser(data, size);
    if (!parser.validate()) {
        ALOGE(kInvalidBlockMessage, __func__);
        return;
    }

    // One commit, so that the effect never sees a part of the block.
    SfxParamStore& store = SfxParamStore::getInstance();
    parser.begin();
    while (const auto* const entry = parser.next()) {
        store.setParam(entry->device, entry->id, entry->values, entry->count);
    }
    store.commitChange();
}

}  // namespace velora
