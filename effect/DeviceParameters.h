#pragma once

#include "effect/ParameterView.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"

namespace velora {

/// The view of one output device: the parameters of its tuning, and of the selected profile's
/// endpoint and IEQ preset for it.
class DeviceParameters : public ParameterView {
public:
    static constexpr ParameterSet kValidParams = Tuning::kValidParams |
                                                 ProfileEndpoint::kValidParams |
                                                 IeqPreset::kValidParams | VIRTUAL_BASS_TYPE;
    static_assert(kValidParams.size() == 90);

    explicit DeviceParameters(ParamChangeObserver* observer) : ParameterView(observer) {}

    const ParameterSet& getValidParams() const override { return kValidParams; }

    /// Each setter keeps a pointer to the record, copies its values into the view and notifies the
    /// observer of those that changed. None of a profile's own parameters is valid in this view, so
    /// `setProfile` copies none.
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
    /// Passes the tuning's endpoint and mono flag to the observer before any of its values.
    void setTuning(Tuning& tuning) {
        mTuning = &tuning;
        announceSource(tuning.getEndpoint(), tuning.isMono());
        updateParams(tuning);
    }

    /// The records, which the store owns; null until set. All getters are part of the vendor's
    /// contract, whether or not this library calls them.
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
