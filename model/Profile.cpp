#include "model/Profile.h"

#include "model/RecordText.h"

#include <utility>

namespace velora {

Profile::Profile(int profileId, std::string name, bool mobility)
    : Profile(-1, profileId, std::move(name), mobility) {
    setDirty(true);
}

Profile::Profile(int64_t id, int profileId, std::string name, bool mobility)
    : ParameterValues(false),
      mId(id),
      mProfileId(profileId),
      mName(std::move(name)),
      mMobility(mobility),
      mSelectedGeqPreset(profileId) {}

void Profile::setName(std::string name) {
    setField(mName, std::move(name));
    setDirty(true);
}

void Profile::setSelectedGeqPreset(int preset) {
    setField(mSelectedGeqPreset, preset);
    setDirty(true);
}

bool Profile::equals(const Profile& other) const {
    return mProfileId == other.mProfileId && ParameterValues::equals(other);
}

std::string Profile::toString() const {
    return recordLine("id", mId) + recordLine("profileId", mProfileId) + recordLine("name", mName) +
           recordLine("mobility", recordBoolean(mMobility)) +
           recordLine("selectedGeqPreset", mSelectedGeqPreset) + valuesToString();
}

}  // namespace velora
