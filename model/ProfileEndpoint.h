#pragma once

#include "model/ParameterValues.h"
#include "model/Port.h"

#include <cstdint>
#include <string>

namespace velora {

/// The settings of one profile for one class of output, with the number of its selected IEQ preset.
class ProfileEndpoint : public ParameterValues {
public:
    static constexpr ParameterSet kValidParams = ParameterSet::of(RecordKind::PROFILE_ENDPOINT);
    static_assert(kValidParams.size() == 27);
    /// Its table has one column more, which no client can change through the endpoint.
    static constexpr ParameterSet kStoredParams = kValidParams | VIRTUAL_BASS_TYPE;

    /// A new record: no row, dirty.
    ProfileEndpoint(int profileId, Endpoint endpoint, int selectedIeqPreset);
    /// A record of row `id`: not dirty.
    ProfileEndpoint(int32_t id, int profileId, Endpoint endpoint, int selectedIeqPreset);

    int64_t getId() const override { return mId; }
    void setId(int64_t id) { mId = id; }
    const ParameterSet& getValidParams() const override { return kValidParams; }

    int getProfileId() const { return mProfileId; }
    Endpoint getEndpoint() const { return mEndpoint; }
    int getSelectedIeqPreset() const { return mSelectedIeqPreset; }

    void setSelectedIeqPreset(int preset);

    /// Same profile number, endpoint, selected IEQ preset and values.
    bool equals(const ProfileEndpoint& other) const;
    std::string toString() const;

private:
    int64_t mId;
    int mProfileId;
    Endpoint mEndpoint;
    int mSelectedIeqPreset;
};

}  // namespace velora
