#pragma once

#include "model/ParameterValues.h"
#include "model/RecordText.h"

#include <cstdint>
#include <string>
#include <utility>

namespace velora {

/// One intelligent-equalizer preset: a numbered target curve that all profiles share. Its number is
/// also the value of `ieq_id`, so that the effect receives it with the curve.
class IeqPreset : public ParameterValues {
public:
    static constexpr ParameterSet kValidParams = ParameterSet::of(RecordKind::IEQ_PRESET);
    static_assert(kValidParams.size() == 3);
    static constexpr ParameterSet kStoredParams = kValidParams;

    /// A record that isn't stored yet. Setting `ieq_id` makes both forms dirty.
    IeqPreset(int presetId, std::string name) : IeqPreset(-1, presetId, std::move(name)) {}
    /// A record that was read from row `id`.
    IeqPreset(int64_t id, int presetId, std::string name)
        : ParameterValues(true), mId(id), mPresetId(presetId), mName(std::move(name)) {
        set(IEQ_ID, {presetId});
    }

    int64_t getId() const override { return mId; }
    void setId(int64_t id) { mId = id; }
    const ParameterSet& getValidParams() const override { return kValidParams; }

    int getPresetId() const { return mPresetId; }
    const std::string& getName() const { return mName; }

    void setName(std::string name) {
        mName = std::move(name);
        setDirty(true);
    }

    std::string toString() const {
        return recordLine("id", mId) + recordLine("presetId", mPresetId) +
               recordLine("name", mName) + valuesToString();
    }

private:
    int64_t mId;
    int mPresetId;
    std::string mName;
};

}  // namespace velora
