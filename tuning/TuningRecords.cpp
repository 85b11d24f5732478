// Users know the messages about a tuning file by the name of its parser.
#define LOG_TAG "TuningFileParser"

#include "tuning/TuningRecords.h"

#include "model/Port.h"

#include <log/log.h>

namespace velora {

namespace {

std::string describeProfile(int id) { return "profile " + std::to_string(id); }
std::string describeIeqPreset(int id) { return "IEQ preset " + std::to_string(id); }

}  // namespace

std::string TuningRecords::describe(const Tuning& record) { return "tuning " + record.getName(); }

std::string TuningRecords::describe(const Profile& record) {
    return describeProfile(record.getProfileId());
}

std::string TuningRecords::describe(const ProfileEndpoint& record) {
    const std::string endpoint(endpointName(record.getEndpoint()));
    return endpoint + " endpoint of " + describeProfile(record.getProfileId());
}

std::string TuningRecords::describe(const IeqPreset& record) {
    return describeIeqPreset(record.getPresetId());
}

std::string TuningRecords::describe(const GeqPreset& record) {
    return "GEQ preset of " + describeProfile(record.getProfileId());
}

bool TuningRecords::claimDescription(std::string description) {
    if (isFull()) return false;

    const auto [place, isNew] = mDescriptions.insert(std::move(description));
    if (!isNew) ALOGW("A second %s is ignored", place->c_str());
    return isNew;
}

// Warns once, because thousands of records may follow.
bool TuningRecords::isFull() {
    if (mDescriptions.size() + all<DeviceTuning>().size() < kMaxRecords) return false;

    if (!mHasWarnedOfLimit) ALOGW("Only the first %zu records of a file are used", kMaxRecords);
    mHasWarnedOfLimit = true;
    return true;
}

void TuningRecords::warnOfDropped(const std::string& description, const ParameterSet& dropped) {
    for (const Parameter parameter : dropped) {
        ALOGW("%s has no %s, it is ignored", description.c_str(),
              parameterInfo(parameter).column.data());
    }
}

void TuningRecords::add(std::unique_ptr<DeviceTuning> record) {
    if (!isFull()) std::get<List<DeviceTuning>>(mLists).push_back(std::move(record));
}

void TuningRecords::addMissingGeqPresets() {
    for (const auto& profile : all<Profile>()) {
        auto preset = std::make_unique<GeqPreset>(profile->getProfileId());
        if (!isClaimed(*preset)) add(std::move(preset));
    }
}

// The rest of the system addresses n records of a kind by the numbers from 0 to n - 1.
void TuningRecords::warnOfMissingNumbers() const {
    const auto warn = [&](int first, size_t count, auto describeNumber) {
        for (int id = first; id < static_cast<int>(count); ++id) {
            const std::string description = describeNumber(id);
            if (mDescriptions.contains(description)) continue;
            ALOGW("%s is missing, and a higher number is out of reach", description.c_str());
        }
    };
    warn(0, all<Profile>().size(), describeProfile);
    // IEQ preset 0, "off", needs no curve.
    warn(1, all<IeqPreset>().size(), describeIeqPreset);
}

template <typename Record>
std::vector<Record*> TuningRecords::pointers() const {
    std::vector<Record*> pointers;
    pointers.reserve(all<Record>().size());
    for (const auto& record : all<Record>()) pointers.push_back(record.get());
    return pointers;
}

void TuningRecords::listIn(DeviceData& data) const {
    data.setTunings(pointers<Tuning>());
    data.setDeviceTunings(pointers<DeviceTuning>());
    data.setProfiles(pointers<Profile>());
    data.setProfileEndPoints(pointers<ProfileEndpoint>());
    data.setIeqPresets(pointers<IeqPreset>());
    data.setGeqPresets(pointers<GeqPreset>());
}

}  // namespace velora
