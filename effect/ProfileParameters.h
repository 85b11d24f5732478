#pragma once

#include "effect/ParameterView.h"
#include "model/GeqPreset.h"
#include "model/Profile.h"

namespace velora {

/// The view of the parameters that don't depend on the output: those of the selected profile and of
/// its GEQ preset.
class ProfileParameters : public ParameterView {
public:
    static constexpr ParameterSet kValidParams = Profile::kValidParams | GeqPreset::kValidParams;
    static_assert(kValidParams.size() == 14);

    explicit ProfileParameters(ParamChangeObserver* observer) : ParameterView(observer) {}

    const ParameterSet& getValidParams() const override { return kValidParams; }

    /// Each setter keeps a pointer to the record, copies its values into the view and notifies the
    /// observer of those that changed.
    void setProfile(Profile& profile) {
        mProfile = &profile;
        updateParams(profile);
    }
    void setGeqPreset(GeqPreset& preset) {
        mGeqPreset = &preset;
        updateParams(preset);
    }

    /// The records, which the store owns; null until set. All getters are part of the vendor's
    /// contract, whether or not this library calls them.
    Profile* getProfile() const { return mProfile; }
    GeqPreset* getGeqPreset() const { return mGeqPreset; }

private:
    Profile* mProfile = nullptr;
    GeqPreset* mGeqPreset = nullptr;
};

}  // namespace velora
