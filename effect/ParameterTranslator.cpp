#include "effect/ParameterTranslator.h"

#include "effect/SetParamCommand.h"

#include <utility>

namespace velora {

void ParameterTranslator::setSource(ParameterValues* source, Endpoint endpoint, bool mono) {
    mSource = source;
    mEndpoint = endpoint;
    mMono = mono;
}

void ParameterTranslator::onParameterChanged(Parameter parameter) {
    const Translator* const translator = getTranslator(parameter);
    if (translator == nullptr) return;
    mPending.set(static_cast<size_t>(translator - kAllTranslators.data()));
}

void ParameterTranslator::translatePending(SetParamCommand& command) {
    const auto pending = std::exchange(mPending, {});
    if (mSource == nullptr || pending.none()) return;

    for (size_t i = 0; i < kNumTranslators; ++i) {
        if (pending.test(i)) kAllTranslators[i].sfxTranslate(command, *mSource, mEndpoint, mMono);
    }
}

void ParameterTranslator::translateAll(SetParamCommand& command) {
    if (mSource != nullptr) {
        for (const Parameter parameter : mSource->getValidParams()) onParameterChanged(parameter);
    }
    translatePending(command);
}

}  // namespace velora
