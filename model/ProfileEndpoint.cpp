#include "model/ProfileEndpoint.h"

#include "model/RecordText.h"

namespace velora {

ProfileEndpoint::ProfileEndpoint(int profileId, Endpoint endpoint, int selectedIeqPreset)
    : ProfileEndpoint(-1, profileId, endpoint, selectedIeqPreset) {
    setDirty(true);
}

ProfileEndpoint::ProfileEndpoint(int32_t id, int profileId, Endpoint endpoint,
                                 int selectedIeqPreset)
    : ParameterValues(false),
      mId(id),
      mProfileId(profileId),
      mEndpoint(endpoint),
      mSelectedIeqPreset(selectedIeqPreset) {}

void ProfileEndpoint::setSelectedIeqPreset(int preset) {
    setField(mSelectedIeqPreset, preset);
    setDirty(true);
}

bool ProfileEndpoint::equals(const ProfileEndpoint& other) const {
    return mEndpoint == other.mEndpoint && mProfileId == other.mProfileId &&
           mSelectedIeqPreset == other.mSelectedIeqPreset && ParameterValues::equals(other);
}

std::string ProfileEndpoint::toString() const {
    return recordLine("id", mId) + recordLine("profileId", mProfileId) +
           recordLine("endpoint", endpointName(mEndpoint)) +
           recordLine("selectedIeqPreset", mSelectedIeqPreset) + valuesToString();
}

}  // namespace velora
