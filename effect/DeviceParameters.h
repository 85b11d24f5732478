#pragma once

#include "effect/ParameterView.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"

namespace velora {

/// The parameters of one output device: its tuning, and the selected profile's endpoint and IEQ
/// preset for it.
class DeviceParameters : public ParameterView {
public:
    static constexpr ParameterSet kValidParams = Tuning::kValidParams |
                                                 ProfileEndpoint::kValidParams |
                                                 IeqPreset::kValidParams | VIRTUAL_BASS_TYPE;
    static_assert(kValidParams.size() == 90);

    explicit DeviceParameters(ParamChangeObserver* observer) : ParameterView(observer) {}

    const ParameterSet& getValidParams() const override { return kValidParams; }

    /// Each keeps the record, which must stand as long as it is asked for, and takes its values. Of
    /// a profile's own parameters none is the device's.
    void setProfile(Profile& profile) {
        mProfile = &profile;
        updateParams(profile);
    }
    void setProfileEndpoint(ProfileEndpoint& endpoint) {
        mProfileEndpoint = &endpoint;
        updateParams(endpoint);
    }
    void setIeqPreset(IeqPreset& preset) {
        mIeqPreset = &preset;
        updateParams(preset);
    }
    /// Announces the view anew, for the tuning's class of output, before any of its values.
    void setTuning(Tuning& tuning) {
        mTuning = &tuning;
        announce(tuning.getEndpoint(), tuning.isMono());
        updateParams(tuning);
    }

    /// Null until set.
    Profile* getProfile() const { return mProfile; }
    ProfileEndpoint* getProfileEndpoint() const { return mProfileEndpoint; }
    IeqPreset* getIeqPreset() const { return mIeqPreset; }
    Tuning* getTuning() const { return mTuning; }

private:
    Profile* mProfile = nullptr;
    ProfileEndpoint* mProfileEndpoint = nullptr;
    IeqPreset* mIeqPreset = nullptr;
    Tuning* mTuning = nullptr;
};

}  // namespace velora
