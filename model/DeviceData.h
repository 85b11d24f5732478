#pragma once

#include "model/DeviceTuning.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"

#include <string>
#include <utility>
#include <vector>

namespace velora {

/// The contents of one tuning file: its identification and every record read from it, each list in
/// the order of the document. The parser that read the records owns them; a list only refers to
/// them. One thread at a time.
class DeviceData {
public:
    template <typename Record>
    using Records = std::vector<Record*>;

    virtual ~DeviceData() = default;

    virtual const std::string& getFormatVersion() const { return mFormatVersion; }
    virtual void setFormatVersion(std::string version) { mFormatVersion = std::move(version); }
    /// Version of the tool that wrote the file. Part of the vendor's contract, without a caller
    /// here.
    virtual const std::string& getToolVersion() const { return mToolVersion; }
    virtual void setToolVersion(std::string version) { mToolVersion = std::move(version); }
    /// Digest of the file: 32 hexadecimal digits.
    virtual const std::string& getSignature() const { return mSignature; }
    virtual void setSignature(std::string signature) { mSignature = std::move(signature); }
    virtual int getZenithGameSystemGain() const { return mZenithGameSystemGain; }
    virtual void setZenithGameSystemGain(int gain) { mZenithGameSystemGain = gain; }

    virtual const Records<Tuning>& getTunings() const { return mTunings; }
    virtual void setTunings(const Records<Tuning>& records) { mTunings = records; }
    virtual const Records<DeviceTuning>& getDeviceTunings() const { return mDeviceTunings; }
    virtual void setDeviceTunings(const Records<DeviceTuning>& records) {
        mDeviceTunings = records;
    }
    virtual const Records<Profile>& getProfiles() const { return mProfiles; }
    virtual void setProfiles(const Records<Profile>& records) { mProfiles = records; }
    virtual const Records<ProfileEndpoint>& getProfileEndpoints() const {
        return mProfileEndpoints;
    }
    virtual void setProfileEndPoints(const Records<ProfileEndpoint>& records) {
        mProfileEndpoints = records;
    }
    virtual const Records<IeqPreset>& getIeqPresets() const { return mIeqPresets; }
    virtual void setIeqPresets(const Records<IeqPreset>& records) { mIeqPresets = records; }
    virtual const Records<GeqPreset>& getGeqPresets() const { return mGeqPresets; }
    virtual void setGeqPresets(const Records<GeqPreset>& records) { mGeqPresets = records; }

    /// Selects the IEQ preset 0 ("off") for every profile endpoint whose IEQ is switched off. An
    /// endpoint without a value of `ieq_enable` counts as switched on.
    virtual void validateData();

private:
    std::string mFormatVersion;
    std::string mToolVersion;
    std::string mSignature;
    Records<Tuning> mTunings;
    Records<DeviceTuning> mDeviceTunings;
    Records<Profile> mProfiles;
    Records<ProfileEndpoint> mProfileEndpoints;
    Records<IeqPreset> mIeqPresets;
    Records<GeqPreset> mGeqPresets;
    int mZenithGameSystemGain = 0;
};

}  // namespace velora
