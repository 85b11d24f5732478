#define LOG_TAG "VlrDatabaseProvider"

#include "store/Provider.h"

#include "util/Integers.h"

#include <algorithm>
#include <utility>

#include <log/log.h>
#include <utils/Errors.h>

namespace velora {

namespace {

constexpr std::string_view kDatabaseFile = "kiv_sqlite3.db";

bool isProfileNumber(int number) {
    constexpr int kMaxProfiles = 256;
    return number >= 0 && number < kMaxProfiles;
}

template <typename Record>
Record completed(Record record) {
    record.completeTo(Record::kStoredParams);
    return record;
}

}  // namespace

Provider::ProfileRecords::ProfileRecords(int profileId, const std::string& name)
    : profile(completed(Profile(profileId, name, false))),
      endpoints{completed(ProfileEndpoint(profileId, Endpoint::SPEAKER, 0)),
                completed(ProfileEndpoint(profileId, Endpoint::HEADPHONE, 0)),
                completed(ProfileEndpoint(profileId, Endpoint::OTHER, 0))},
      geqPreset(completed(GeqPreset(profileId))) {}

Provider::Provider() : mDatabase(kDatabaseFile) {}

Provider::~Provider() = default;

void Provider::initDatabase() { mDatabase.init(); }

int Provider::init() {
    mDefaults.clear();
    mCustoms.clear();
    mIeqPresets.clear();
    const auto profiles = mDatabase.queryNames(TableType::PROFILES, kDefaultName);
    if (profiles.empty()) {
        ALOGE("%s(): No profiles found from the database", __func__);
    } else {
        ALOGD("%s(): Total %d profiles found", __func__, static_cast<int>(profiles.size()));
    }
    for (const auto& [number, name] : profiles) {
        if (!isProfileNumber(number)) {
            ALOGE("there can't be a profile %d", number);
            continue;
        }
        while (getNumOfProfiles() <= number) {
            const int id = getNumOfProfiles();
            const std::string known = id == number ? name : std::string();
            mDefaults.push_back(std::make_unique<ProfileRecords>(id, known));
            mCustoms.push_back(std::make_unique<ProfileRecords>(id, known));
        }
    }
    const auto presets = mDatabase.queryNames(TableType::IEQ_PRESETS, kDefaultName);
    if (presets.empty()) {
        ALOGE("%s(): No ieq presets found from the database", __func__);
    } else {
        ALOGD("%s(): Total %d ieq presets found", __func__, static_cast<int>(presets.size()));
    }
    mNumOfIeqPresets = static_cast<int>(presets.size());
    mIeqPresets.resize(presets.size() + 1);
    if (mReading && !mDefaults.empty()) readAhead();
    return mDefaults.empty() ? android::BAD_VALUE : 0;
}

void Provider::clear() { mDatabase.clear(); }

void Provider::beginTransaction() { mDatabase.beginTransaction(); }

void Provider::beginReading() {
    mDatabase.beginReading();
    mReading = true;
}

bool Provider::commitTransaction() {
    mReading = mReadAhead = false;
    return mDatabase.commitTransaction();
}

void Provider::abortTransaction() { mDatabase.abortTransaction(); }

void Provider::clearOemTunings() { mDatabase.clearOemTunings(); }

void Provider::clearOemDeviceTunings() { mDatabase.clearOemDeviceTunings(); }

bool Provider::isEmpty() const { return mDatabase.isEmpty(); }

size_t Provider::failedReads() const { return mDatabase.failedReads(); }

bool Provider::isComplete() {
    if (!mDatabase.hasLayout()) return false;
    const auto profiles = mDatabase.queryNames(TableType::PROFILES, kDefaultName);
    return std::any_of(profiles.begin(), profiles.end(),
                       [](const auto& profile) { return isProfileNumber(profile.first); });
}

bool Provider::isDamaged() const { return mDatabase.isDamaged(); }

void Provider::replaceDamaged() { mDatabase.replaceDamaged(); }

bool Provider::isDatabaseVersionChanged() {
    const std::string stored = mDatabase.queryConfigurationValue(kDatabaseVersion);
    ALOGD("Stored database version[%s], expected database version[%s]", stored.c_str(),
          kExpectedDatabaseVersion.data());
    return stored != kExpectedDatabaseVersion;
}

void Provider::setDefaultXmlSignature(const std::string& signature) {
    mDatabase.insertConfigurationValue(kSignature, signature);
    mDatabase.insertConfigurationValue(kSelectedProfile, "0");
    mDatabase.insertConfigurationValue(kSfxState, "true");
    mDatabase.insertConfigurationValue(kDatabaseVersion, kExpectedDatabaseVersion);
}

std::string Provider::getDefaultXmlSignature() {
    return mDatabase.queryConfigurationValue(kSignature);
}

void Provider::setDefaultXmlFormatVersion(const std::string& version) {
    mDatabase.insertConfigurationValue(kFormatVersion, version);
}

std::string Provider::getDefaultXmlFormatVersion() {
    return mDatabase.queryConfigurationValue(kFormatVersion);
}

int Provider::getNumOfProfiles() const { return static_cast<int>(mDefaults.size()); }

int Provider::getNumOfIeqPresets() const { return mNumOfIeqPresets; }

void Provider::readAhead() {
    mDatabase.queryProfileValues([this](int id, std::string_view copy, auto) {
        ProfileRecords* const records = findRecords(id, copy);
        return records != nullptr ? &records->profile : nullptr;
    });
    mDatabase.queryGeqValues([this](int id, std::string_view copy, auto) {
        ProfileRecords* const records = findRecords(id, copy);
        return records != nullptr ? &records->geqPreset : nullptr;
    });
    mDatabase.queryEndpointValues(
        [this](int id, std::string_view copy, std::string_view name) -> ProfileEndpoint* {
            ProfileRecords* const records = findRecords(id, copy);
            const auto endpoint = endpointByName(name);
            if (records == nullptr || !endpoint) return nullptr;
            return &records->endpoints[static_cast<size_t>(*endpoint)];
        });
    mReadAhead = true;
}

/// Null if there are none.
Provider::ProfileRecords* Provider::findRecords(int profileId, std::string_view customName) const {
    if (profileId < 0 || profileId >= getNumOfProfiles()) return nullptr;
    if (customName != kDefaultName && customName != kCustomName) return nullptr;
    const auto& copies = customName == kDefaultName ? mDefaults : mCustoms;
    return copies[static_cast<size_t>(profileId)].get();
}

Provider::ProfileRecords* Provider::recordsOf(int profileId, std::string_view customName) {
    ProfileRecords* const records = findRecords(profileId, customName);
    if (records == nullptr) ALOGE("There is no profile %d", profileId);
    return records;
}

Profile* Provider::loadProfile(int profileId, std::string_view customName) {
    ProfileRecords* const records = recordsOf(profileId, customName);
    if (records == nullptr) return nullptr;
    if (!mReadAhead) mDatabase.queryProfileValue(profileId, customName, &records->profile);
    return &records->profile;
}

Profile* Provider::loadDefaultProfile(int profileId) {
    return loadProfile(profileId, kDefaultName);
}

Profile* Provider::loadProfile(int profileId) { return loadProfile(profileId, kCustomName); }

GeqPreset* Provider::loadGeqPreset(int profileId, std::string_view customName) {
    ProfileRecords* const records = recordsOf(profileId, customName);
    if (records == nullptr) return nullptr;
    if (!mReadAhead) mDatabase.queryGeqValue(profileId, customName, &records->geqPreset);
    return &records->geqPreset;
}

GeqPreset* Provider::loadDefaultGeqPreset(int profileId) {
    return loadGeqPreset(profileId, kDefaultName);
}

GeqPreset* Provider::loadGeqPreset(int profileId) { return loadGeqPreset(profileId, kCustomName); }

Provider::Endpoints Provider::loadProfileEndpoints(int profileId, std::string_view customName) {
    ProfileRecords* const records = recordsOf(profileId, customName);
    Endpoints endpoints{};
    if (records == nullptr) return endpoints;
    for (size_t i = 0; i < endpoints.size(); ++i) {
        endpoints[i] = &records->endpoints[i];
        if (mReadAhead) continue;
        mDatabase.queryEndpointValue(profileId, kEndpoints[i], customName, endpoints[i]);
    }
    return endpoints;
}

Provider::Endpoints Provider::loadDefaultProfileEndpoints(int profileId) {
    return loadProfileEndpoints(profileId, kDefaultName);
}

Provider::Endpoints Provider::loadProfileEndpoints(int profileId) {
    return loadProfileEndpoints(profileId, kCustomName);
}

ProfileEndpoint* Provider::loadProfileEndpoint(int profileId, Endpoint endpoint) {
    ProfileRecords* const records = recordsOf(profileId, kCustomName);
    if (records == nullptr) return nullptr;
    ProfileEndpoint* const record = &records->endpoints[static_cast<size_t>(endpoint)];
    if (!mReadAhead) mDatabase.queryEndpointValue(profileId, endpoint, kCustomName, record);
    return record;
}

IeqPreset* Provider::loadIeqPreset(int presetId) {
    if (presetId < 0 || presetId > mNumOfIeqPresets) {
        ALOGE("There is no IEQ preset %d", presetId);
        presetId = 0;
    }
    auto& preset = mIeqPresets[static_cast<size_t>(presetId)];
    if (preset == nullptr) {
        preset =
            std::make_unique<IeqPreset>(completed(IeqPreset(presetId, presetId == 0 ? "off" : "")));
    }
    mDatabase.queryIeqValue(presetId, kDefaultName, preset.get());
    return preset.get();
}

void Provider::save(GeqPreset* preset) {
    if (mDatabase.updateGeqValue(preset, kCustomName)) preset->setDirty(false);
}

void Provider::save(Profile* profile) {
    if (mDatabase.updateProfileValue(profile, kCustomName)) profile->setDirty(false);
}

void Provider::save(ProfileEndpoint* endpoint) {
    if (mDatabase.updateProfileEndpointValue(endpoint, kCustomName)) endpoint->setDirty(false);
}

// The row of the record stays that of its own copy.
template <typename Record, typename Query>
Record* Provider::resetFrom(Record* record, Query query) {
    if (record == nullptr) return nullptr;
    const int64_t id = record->getId();
    query();
    record->setId(id);
    return record;
}

GeqPreset* Provider::reset(GeqPreset* preset) {
    return resetFrom(
        preset, [&] { mDatabase.queryGeqValue(preset->getProfileId(), kDefaultName, preset); });
}

Profile* Provider::reset(Profile* profile) {
    return resetFrom(profile, [&] {
        mDatabase.queryProfileValue(profile->getProfileId(), kDefaultName, profile);
    });
}

ProfileEndpoint* Provider::reset(ProfileEndpoint* endpoint) {
    return resetFrom(endpoint, [&] {
        mDatabase.queryEndpointValue(endpoint->getProfileId(), endpoint->getEndpoint(),
                                     kDefaultName, endpoint);
    });
}

template <typename Record>
void Provider::createCopies(Record* record) {
    constexpr int64_t kNextId = -1;
    mDatabase.insertValue(record, kDefaultName, kNextId);
    mDatabase.insertValue(record, kCustomName, kNextId);
}

void Provider::create(IeqPreset* preset) { mDatabase.insertValue(preset, kDefaultName); }

void Provider::create(GeqPreset* preset) { createCopies(preset); }

void Provider::create(Profile* profile) { createCopies(profile); }

void Provider::create(ProfileEndpoint* endpoint) { createCopies(endpoint); }

void Provider::create(Tuning* tuning, std::string_view customName) {
    mDatabase.insertValue(tuning, customName);
}

void Provider::create(DeviceTuning* deviceTuning, std::string_view customName) {
    mDatabase.insertValue(deviceTuning, customName);
}

bool Provider::isSfxOn() { return mDatabase.querySfxStatus(kSfxState); }

void Provider::setSfxOn(bool on) { mDatabase.updateSfxStatus(kSfxState, on); }

int Provider::getSelectedProfile() {
    return string2Int(mDatabase.querySelectedProfile(kSelectedProfile));
}

void Provider::setSelectedProfile(int profileId) {
    mDatabase.updateSelectedProfile(kSelectedProfile, std::to_string(profileId));
}

int Provider::getZenithGameSystemGain() {
    return string2Int(mDatabase.queryConfigurationValue(kZenithGameSystemGain));
}

void Provider::setZenithGameSystemGain(int gain) {
    mDatabase.insertConfigurationValue(kZenithGameSystemGain, std::to_string(gain));
}

void Provider::setDeviceTuning(std::string_view port, std::string_view device) {
    mDatabase.insertConfigurationValue(port, device);
}

void Provider::updateDeviceTuning(std::string_view port, std::string_view device) {
    mDatabase.updateTuningDevice(port, device);
}

std::string Provider::getDeviceTuning(std::string_view port) {
    return mDatabase.queryConfigurationValue(port);
}

// What couldn't be read is tried again the next time.
void Provider::loadDevices(Port port) {
    if (!isPort(port) || mDeviceTunings.contains(port)) return;
    Devices devices;
    if (mDatabase.queryDeviceTunings(portInfo(port).name, &devices)) {
        mDeviceTunings[port] = std::move(devices);
    }
}

std::vector<DeviceTuning*> Provider::loadDeviceTuningsForPort(Port port) {
    loadDevices(port);
    std::vector<DeviceTuning*> devices;
    const auto loaded = mDeviceTunings.find(port);
    if (loaded == mDeviceTunings.end()) return devices;
    for (const auto& device : loaded->second) devices.push_back(device.get());
    return devices;
}

const DeviceTuning* Provider::findDevice(const std::string& device) const {
    for (const auto& [port, devices] : mDeviceTunings) {
        for (const auto& candidate : devices) {
            if (candidate->getDevice() == device) return candidate.get();
        }
    }
    return nullptr;
}

Tuning* Provider::loadTuningForDevice(const std::string& device) {
    const DeviceTuning* const found = findDevice(device);
    if (found == nullptr) {
        ALOGW("Cannot find device with name %s in mDeviceTunings", device.c_str());
        return nullptr;
    }
    const std::string name = found->getTuning();
    const auto cached = mTunings.find(name);
    if (cached != mTunings.end()) {
        ALOGD("Found existing tuning[%s] from cache device[%s]", name.c_str(), device.c_str());
        return cached->second.get();
    }
    auto tuning = std::make_unique<Tuning>(completed(Tuning(name, Endpoint::SPEAKER, false)));
    if (!mDatabase.queryTuning(name, tuning.get())) {
        ALOGW("There is no tuning[%s] for device[%s]", name.c_str(), device.c_str());
        return nullptr;
    }
    ALOGD("Load tuning[%s] from cache device[%s], and put it in cached mTunings", name.c_str(),
          device.c_str());
    return (mTunings[name] = std::move(tuning)).get();
}

void Provider::reloadCachedDeviceTunings() {
    for (const auto& [port, devices] : mDeviceTunings) {
        for (const auto& device : devices) {
            ALOGD("Clear cached device tuning Port[%s]:Device[%s]", device->getPort().c_str(),
                  device->getDevice().c_str());
        }
    }
    mDeviceTunings.clear();
    for (const Port port : kSupportedPorts) loadDevices(port);
    for (auto place = mTunings.begin(); place != mTunings.end();) {
        if (mDatabase.queryTuning(place->first, place->second.get())) {
            ++place;
        } else {
            mGoneTunings.push_back(std::move(place->second));
            place = mTunings.erase(place);
        }
    }
}

}  // namespace velora
