#pragma once

#include "model/ParameterValues.h"
#include "model/RecordText.h"

#include <cstdint>
#include <string>

namespace velora {

/// The graphic-equalizer bands of one profile, of which every profile has one set.
class GeqPreset : public ParameterValues {
public:
    static constexpr ParameterSet kValidParams = ParameterSet::of(RecordKind::GEQ_PRESET);
    static_assert(kValidParams.size() == 2);
    static constexpr ParameterSet kStoredParams = kValidParams;

    /// A record that isn't stored yet: dirty.
    explicit GeqPreset(int profileId) : ParameterValues(true), mId(-1), mProfileId(profileId) {}
    /// A record that was read from row `id`: not dirty until its values are `set`.
    GeqPreset(int64_t id, int profileId) : ParameterValues(false), mId(id), mProfileId(profileId) {}

    int64_t getId() const override { return mId; }
    void setId(int64_t id) { mId = id; }
    const ParameterSet& getValidParams() const override { return kValidParams; }

    int getProfileId() const { return mProfileId; }

    /// Compares the profile number and the values.
    bool equals(const GeqPreset& other) const {
        return mProfileId == other.mProfileId && ParameterValues::equals(other);
    }
    std::string toString() const {
        return recordLine("id", mId) + recordLine("profileId", mProfileId) + valuesToString();
    }

private:
    int64_t mId;
    int mProfileId;
};

}  // namespace velora
