#pragma once

#include "effect/ParamChangeObserver.h"
#include "effect/Translator.h"

#include <bitset>

namespace velora {

/// Remembers which translators have pending changes of one source, and runs them on request.
///
/// The effect's controller owns one per output device and one for all of them together. Refers to
/// its source, which must remain valid until it is replaced. One thread at a time. Nothing fails.
class ParameterTranslator : public ParamChangeObserver {
public:
    /// Pending translators stay pending.
    void setSource(ParameterValues* source, Endpoint endpoint, bool mono) override;
    /// Marks the translator of `parameter` as pending; ignores a parameter without a translator.
    void onParameterChanged(Parameter parameter) override;

    /// Appends the entries of every pending translator, in the order of `kAllTranslators`. None is
    /// pending afterwards. Without a source it appends nothing.
    void translatePending(SetParamCommand& command);
    /// Does the same after marking all parameters that are valid in the source as changed.
    void translateAll(SetParamCommand& command);

private:
    std::bitset<kNumTranslators> mPending;  ///< by index in `kAllTranslators`
    ParameterValues* mSource = nullptr;
    Endpoint mEndpoint = Endpoint::OTHER;
    bool mMono = false;
};

}  // namespace velora
