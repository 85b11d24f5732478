#pragma once

#include "effect/ParameterView.h"
#include "model/GeqPreset.h"
#include "model/Profile.h"

namespace velora {

/// The parameters that don't depend on the output: the selected profile with its GEQ preset.
class ProfileParameters : public ParameterView {
public:
    static constexpr ParameterSet kValidParams = Profile::kValidParams | GeqPreset::kValidParams;
    static_assert(kValidParams.size() == 14);

    explicit ProfileParameters(ParamChangeObserver* observer) : ParameterView(observer) {}

    const ParameterSet& getValidParams() const override { return kValidParams; }

    /// Each keeps the record, which must stand as long as it is asked for, and takes its values.
    void setProfile(Profile& profile) {
        mProfile = &profile;
        updateParams(profile);
    }
    void setGeqPreset(GeqPreset& preset) {
        mGeqPreset = &preset;
        updateParams(preset);
    }

    /// Null until set.
    Profile* getProfile() const { return mProfile; }
    GeqPreset* getGeqPreset() const { return mGeqPreset; }

private:
    Profile* mProfile = nullptr;
    GeqPreset* mGeqPreset = nullptr;
};

}  // namespace velora
