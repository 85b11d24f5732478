#define LOG_TAG "SfxEffect"

#include "effect/SfxEffect.h"

#include <log/log.h>
#include <utils/Errors.h>
#include <velora/EffectParamParser.h>
#include <velora/SfxParamStore.h>

namespace velora {

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
        ALOGE("%s() Invalid data for setting parameter values.", __func__);
        return;
    }
    SfxParamStore& store = SfxParamStore::getInstance();
    parser.begin();
    while (const auto* const entry = parser.next()) {
        store.setParam(entry->device, entry->id, entry->values, entry->count);
    }
    store.commitChange();
}

}  // namespace velora
