#define LOG_TAG "VlrDatabaseProvider"

#include "store/Provider.h"

#include "store/Salvage.h"
#include "util/Integers.h"

#include <algorithm>

#include <log/log.h>
#include <utils/Errors.h>

namespace velora {

// Results of queries are ignored here: a record that has no row, or whose row can't be read, keeps
// its values. Whoever must know whether everything could be read asks the read session.

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kNoProfilesMessage[] = "%s(): No profiles found from the database";
constexpr char kProfilesFoundMessage[] = "%s(): Total %d profiles found";
constexpr char kNoIeqPresetsMessage[] = "%s(): No ieq presets found from the database";
constexpr char kIeqPresetsFoundMessage[] = "%s(): Total %d ieq presets found";
constexpr char kVersionsMessage[] = "Stored database version[%s], expected database version[%s]";

constexpr std::string_view kDatabaseFile = "kiv_sqlite3.db";

/// A damaged number could otherwise ask for any number of records.
bool isProfileNumber(int number) {
    constexpr int kMaxProfiles = 256;
    return number >= 0 && number < kMaxProfiles;
}

/// Gives a record the factory's values where it has none.
void complete(ParameterValues& record, const ParameterValues& factory) {
    for (const auto& [parameter, values] : factory) {
        if (record.get(parameter).empty()) record.set(parameter, values);
    }
}

template <typename Record>
void markStored(Record& record) {
    record.setDirty(false);
    record.setChanged(false);
}

}  // namespace

Provider::ProfileRecords::ProfileRecords(int profileId, const std::string& name)
    : profile(completed(Profile(profileId, name, false))),
      endpoints{completed(ProfileEndpoint(profileId, Endpoint::SPEAKER, 0)),
                completed(ProfileEndpoint(profileId, Endpoint::HEADPHONE, 0)),
                completed(ProfileEndpoint(profileId, Endpoint::OTHER, 0))},
      geqPreset(completed(GeqPreset(profileId))) {}

void Provider::ProfileRecords::setChanged(bool changed) {
    profile.setChanged(changed);
    for (ProfileEndpoint& endpoint : endpoints) endpoint.setChanged(changed);
    geqPreset.setChanged(changed);
}

Provider::Records Provider::ProfileRecords::pointers() {
    return {&profile, {&endpoints[0], &endpoints[1], &endpoints[2]}, &geqPreset};
}

Provider::Provider() : mDatabase(kDatabaseFile) {}

Provider::~Provider() = default;

void Provider::initDatabase() { mDatabase.init(); }

int Provider::init() {
    mIsLoaded = false;
    const auto profiles = mDatabase.queryNames(TableType::PROFILES, kDefaultName);
    if (profiles.empty()) {
        ALOGE(kNoProfilesMessage, __func__);
    } else {
        ALOGD(kProfilesFoundMessage, __func__, static_cast<int>(profiles.size()));
    }
    createProfileRecords(profiles);

    const auto presets = mDatabase.queryNames(TableType::IEQ_PRESETS, kDefaultName);
    if (presets.empty()) {
        ALOGE(kNoIeqPresetsMessage, __func__);
    } else {
        ALOGD(kIeqPresetsFoundMessage, __func__, static_cast<int>(presets.size()));
    }
    mIeqPresets.clear();
    mIeqPresets.resize(presets.size() + 1);

    return mDefaults.empty() ? android::BAD_VALUE : 0;
}

// Profiles are addressed by their numbers, so a missing row must not move the others: its profile
// exists, without a name.
void Provider::createProfileRecords(const std::map<int, std::string>& names) {
    mDefaults.clear();
    mCustoms.clear();
    for (const auto& [number, name] : names) {
        if (!isProfileNumber(number)) {
            ALOGE("there can't be a profile %d", number);
            continue;
        }

        while (mDefaults.size() <= static_cast<size_t>(number)) {
            const int id = static_cast<int>(mDefaults.size());
            const std::string known = id == number ? name : std::string();
            mDefaults.push_back(std::make_unique<ProfileRecords>(id, known));
            mCustoms.push_back(std::make_unique<ProfileRecords>(id, known));
        }
    }
}

void Provider::clear() { mDatabase.clear(); }

void Provider::beginTransaction() { mDatabase.beginTransaction(); }

bool Provider::commitTransaction() { return mDatabase.commitTransaction(); }

void Provider::abortTransaction() { mDatabase.abortTransaction(); }

ReadSession Provider::startReading() { return ReadSession(mDatabase); }

void Provider::primeLog() { mDatabase.primeLog(); }

void Provider::checkpoint() { mDatabase.checkpoint(); }

void Provider::clearOemTunings() { mDatabase.clearOemTunings(); }

void Provider::clearOemDeviceTunings() { mDatabase.clearOemDeviceTunings(); }

bool Provider::isEmpty() const { return mDatabase.isEmpty(); }

bool Provider::isDamaged() const { return mDatabase.isDamaged(); }

UserSettings Provider::salvage() { return salvageSettings(mDatabase.path()); }

UserSettings Provider::replaceDamaged() {
    const auto aside = mDatabase.setAside();
    return aside ? salvageSettings(*aside) : UserSettings{};
}

bool Provider::isComplete() {
    if (!mDatabase.hasLayout()) return false;
    const auto profiles = mDatabase.queryNames(TableType::PROFILES, kDefaultName);
    return std::any_of(profiles.begin(), profiles.end(),
                       [](const auto& profile) { return isProfileNumber(profile.first); });
}

bool Provider::isDatabaseVersionChanged() {
    const std::string stored = mDatabase.queryConfigurationValue(kDatabaseVersion);
    ALOGD(kVersionsMessage, stored.c_str(), kExpectedDatabaseVersion.data());
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

int Provider::getNumOfIeqPresets() const { return static_cast<int>(mIeqPresets.size()) - 1; }

/// Null if they don't exist.
Provider::ProfileRecords* Provider::findRecords(int profileId, std::string_view customName) const {
    if (customName != kDefaultName && customName != kCustomName) return nullptr;
    const auto& copies = customName == kDefaultName ? mDefaults : mCustoms;
    const auto index = static_cast<size_t>(profileId);  // a negative number is far too large
    return index < copies.size() ? copies[index].get() : nullptr;
}

Provider::Records Provider::recordsOf(int profileId, std::string_view customName) const {
    if (ProfileRecords* const records = findRecords(profileId, customName)) {
        return records->pointers();
    }
    ALOGE("There is no profile %d", profileId);
    return {};
}

Provider::Records Provider::getDefaultRecords(int profileId) const {
    return recordsOf(profileId, kDefaultName);
}

Provider::Records Provider::getRecords(int profileId) const {
    return recordsOf(profileId, kCustomName);
}

void Provider::loadAll() {
    using Key = DatabaseHelper::ProfileKey;
    mIsLoaded = false;

    (void)mDatabase.queryAllValues<Profile>([this](const Key& key) {
        ProfileRecords* const records = findRecords(key.profileId, key.customName);
        return records != nullptr ? &records->profile : nullptr;
    });

    (void)mDatabase.queryAllValues<GeqPreset>([this](const Key& key) {
        ProfileRecords* const records = findRecords(key.profileId, key.customName);
        return records != nullptr ? &records->geqPreset : nullptr;
    });

    (void)mDatabase.queryAllValues<ProfileEndpoint>([this](const Key& key) -> ProfileEndpoint* {
        ProfileRecords* const records = findRecords(key.profileId, key.customName);
        if (records == nullptr || !key.endpoint) return nullptr;
        return &records->endpoints[static_cast<size_t>(*key.endpoint)];
    });

    for (const auto& copies : {&mDefaults, &mCustoms}) {
        for (const auto& records : *copies) records->setChanged(false);
    }
    for (size_t id = 0; id < mIeqPresets.size(); ++id) loadIeqPreset(static_cast<int>(id));
    reloadCachedDeviceTunings();
    mIsLoaded = true;
}

Profile* Provider::loadProfile(int profileId, std::string_view customName) {
    Profile* const profile = recordsOf(profileId, customName).profile;
    const bool loaded =
        profile != nullptr && mDatabase.queryProfileValue(profileId, customName, profile);
    if (loaded) profile->setChanged(false);
    return profile;
}

Profile* Provider::loadDefaultProfile(int profileId) {
    return loadProfile(profileId, kDefaultName);
}

Profile* Provider::loadProfile(int profileId) { return loadProfile(profileId, kCustomName); }

GeqPreset* Provider::loadGeqPreset(int profileId, std::string_view customName) {
    GeqPreset* const preset = recordsOf(profileId, customName).geqPreset;
    const bool loaded = preset != nullptr && mDatabase.queryGeqValue(profileId, customName, preset);
    if (loaded) preset->setChanged(false);
    return preset;
}

GeqPreset* Provider::loadDefaultGeqPreset(int profileId) {
    return mIsLoaded ? getDefaultRecords(profileId).geqPreset
                     : loadGeqPreset(profileId, kDefaultName);
}

GeqPreset* Provider::loadGeqPreset(int profileId) { return loadGeqPreset(profileId, kCustomName); }

Provider::Endpoints Provider::loadProfileEndpoints(int profileId, std::string_view customName) {
    const Endpoints endpoints = recordsOf(profileId, customName).endpoints;
    for (ProfileEndpoint* const record : endpoints) {
        if (record == nullptr) continue;
        const Endpoint endpoint = record->getEndpoint();
        const bool loaded = mDatabase.queryEndpointValue(profileId, endpoint, customName, record);
        if (loaded) record->setChanged(false);
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
    const Endpoints endpoints = recordsOf(profileId, kCustomName).endpoints;
    const auto index = static_cast<size_t>(endpoint);
    if (index >= endpoints.size()) {
        ALOGE("There is no endpoint %d", static_cast<int>(endpoint));
        return nullptr;
    }

    ProfileEndpoint* const record = endpoints[index];
    const bool loaded =
        record != nullptr && mDatabase.queryEndpointValue(profileId, endpoint, kCustomName, record);
    if (loaded) record->setChanged(false);
    return record;
}

/// The place of a preset's record; that of preset 0 for a number that doesn't exist.
std::unique_ptr<IeqPreset>& Provider::findIeqPreset(int presetId) {
    const auto index = static_cast<size_t>(presetId);  // a negative number is far too large
    if (index < mIeqPresets.size()) return mIeqPresets[index];
    ALOGE("There is no IEQ preset %d", presetId);
    return mIeqPresets.front();
}

IeqPreset* Provider::loadIeqPreset(int presetId) {
    auto& preset = findIeqPreset(presetId);
    if (mIsLoaded && preset != nullptr) return preset.get();

    const int number = static_cast<int>(&preset - mIeqPresets.data());
    if (preset == nullptr) {
        const char* const name = number == 0 ? "off" : "";
        preset = std::make_unique<IeqPreset>(completed(IeqPreset(number, name)));
    }
    mDatabase.queryIeqValue(number, kDefaultName, preset.get());
    return preset.get();
}

void Provider::save(GeqPreset* preset) {
    if (mDatabase.updateGeqValue(preset, kCustomName)) markStored(*preset);
}

void Provider::save(Profile* profile) {
    if (mDatabase.updateProfileValue(profile, kCustomName)) markStored(*profile);
}

void Provider::save(ProfileEndpoint* endpoint) {
    if (mDatabase.updateProfileEndpointValue(endpoint, kCustomName)) markStored(*endpoint);
}

void Provider::completeSettings(UserSettings& settings) {
    for (auto& [id, profile] : settings.profiles) complete(profile, *loadDefaultProfile(id));
    for (auto& [id, preset] : settings.geqPresets) complete(preset, *loadDefaultGeqPreset(id));
    for (auto& [key, endpoint] : settings.endpoints) {
        const Endpoints factory = loadDefaultProfileEndpoints(key.first);
        complete(endpoint, *factory[static_cast<size_t>(key.second)]);
    }
}

bool Provider::storeSettings(UserSettings& settings) {
    Transaction transaction(*this);
    for (auto& [key, profile] : settings.profiles) save(&profile);
    for (auto& [key, endpoint] : settings.endpoints) save(&endpoint);
    for (auto& [key, preset] : settings.geqPresets) save(&preset);

    if (settings.sfxOn) setSfxOn(*settings.sfxOn);
    if (settings.selectedProfile) setSelectedProfile(*settings.selectedProfile);
    for (const auto& [port, device] : settings.devices) {
        updateDeviceTuning(portInfo(port).name, device);
    }
    return transaction.commit();
}

// The record keeps the id of its own row, not that of the factory copy.
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

}  // namespace velora
