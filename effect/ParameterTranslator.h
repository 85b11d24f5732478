#pragma once

#include "effect/ParamChangeObserver.h"
#include "effect/Translator.h"

#include <bitset>

namespace velora {

/// Remembers which translators a source's changes made due, and runs them on request.
///
/// Owned by the effect's controller, one per output device and one for all; one thread at a time.
/// The source stays its owner's; without one nothing is translated.
class ParameterTranslator : public ParamChangeObserver {
public:
    /// What is due stays due.
    void setSource(ParameterValues* source, Endpoint endpoint, bool mono) override;
    void onParameterChanged(Parameter parameter) override;

    /// Appends the entries of every translator that is due, in the order of the list; none is due
    /// afterwards.
    void translatePending(SetParamCommand& command);
    /// The same for all parameters that are valid in the source.
    void translateAll(SetParamCommand& command);

private:
    std::bitset<kNumTranslators> mPending;
    ParameterValues* mSource = nullptr;
    Endpoint mEndpoint = Endpoint::OTHER;
    bool mMono = false;
};

}  // namespace velora
