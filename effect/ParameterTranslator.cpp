#include "effect/ParameterTranslator.h"

#include "effect/SetParamCommand.h"

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
    for (size_t i = 0; mSource != nullptr && i < kNumTranslators; ++i) {
        if (mPending.test(i)) kAllTranslators[i].sfxTranslate(command, *mSource, mEndpoint, mMono);
    }
    mPending.reset();
}

void ParameterTranslator::translateAll(SetParamCommand& command) {
    if (mSource == nullptr) return;
    for (const Parameter parameter : mSource->getValidParams()) onParameterChanged(parameter);
    translatePending(command);
}

}  // namespace velora
