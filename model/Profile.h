#pragma once

#include "model/ParameterValues.h"

#include <cstdint>
#include <string>

namespace velora {

/// A profile, which is a numbered and named set of settings: those of its settings that don't
/// depend on the output.
class Profile : public ParameterValues {
public:
    static constexpr ParameterSet kValidParams = ParameterSet::of(RecordKind::PROFILE);
    static_assert(kValidParams.size() == 12);
    static constexpr ParameterSet kStoredParams = kValidParams;

    /// A record that isn't stored yet: dirty. In both forms the selected GEQ preset is the one with
    /// the profile's own number.
    Profile(int profileId, std::string name, bool mobility);
    /// A record that was read from row `id`: not dirty until its values are `set`.
    Profile(int64_t id, int profileId, std::string name, bool mobility);

    int64_t getId() const override { return mId; }
    void setId(int64_t id) { mId = id; }
    const ParameterSet& getValidParams() const override { return kValidParams; }

    int getProfileId() const { return mProfileId; }
    const std::string& getName() const { return mName; }
    bool isMobility() const { return mMobility; }
    int getSelectedGeqPreset() const { return mSelectedGeqPreset; }

    void setName(std::string name);
    void setMobility(bool mobility) {
        setField(mMobility, mobility);
    }  ///< doesn't mark the record dirty
    void setSelectedGeqPreset(int preset);

    /// Compares the profile number and the values.
    bool equals(const Profile& other) const;
    std::string toString() const;

private:
    int64_t mId;
    int mProfileId;
    std::string mName;
    bool mMobility;
    int mSelectedGeqPreset;
};

}  // namespace velora
