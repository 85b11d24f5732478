#pragma once

#include "model/ParameterValues.h"
#include "model/Port.h"

#include <cstdint>
#include <string>

namespace velora {

/// The settings of one profile for one class of output, and the number of its selected IEQ preset.
class ProfileEndpoint : public ParameterValues {
public:
    static constexpr ParameterSet kValidParams = ParameterSet::of(RecordKind::PROFILE_ENDPOINT);
    static_assert(kValidParams.size() == 27);
    /// Its table has one more column, which clients can't change through the endpoint.
    static constexpr ParameterSet kStoredParams = kValidParams | VIRTUAL_BASS_TYPE;

    /// A record that isn't stored yet: dirty.
    ProfileEndpoint(int profileId, Endpoint endpoint, int selectedIeqPreset);
    /// A record that was read from row `id`: not dirty until its values are `set`.
    ProfileEndpoint(int32_t id, int profileId, Endpoint endpoint, int selectedIeqPreset);

    int64_t getId() const override { return mId; }
    void setId(int64_t id) { mId = id; }
    const ParameterSet& getValidParams() const override { return kValidParams; }

    int getProfileId() const { return mProfileId; }
    Endpoint getEndpoint() const { return mEndpoint; }
    int getSelectedIeqPreset() const { return mSelectedIeqPreset; }

    void setSelectedIeqPreset(int preset);

    /// Compares the profile number, the endpoint, the selected IEQ preset and the values.
    bool equals(const ProfileEndpoint& other) const;
    std::string toString() const;

private:
    int64_t mId;
    int mProfileId;
    Endpoint mEndpoint;
    int mSelectedIeqPreset;
};

}  // namespace velora
