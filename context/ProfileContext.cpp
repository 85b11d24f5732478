#define LOG_TAG "SndContext"

#include "context/ProfileContext.h"

#include "context/Fatal.h"

#include <algorithm>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kNoEndpointMessage[] = "Couldn't find the profile endpoint fo %d";

void restoreValues(ParameterValues& record, const ParameterValues& factory) {
    for (const auto& [parameter, values] : factory) record.set(parameter, values);
}

void restore(Profile& record, const Profile& factory) {
    record.setName(factory.getName());
    record.setMobility(factory.isMobility());
    record.setSelectedGeqPreset(factory.getSelectedGeqPreset());
    restoreValues(record, factory);
}

void restore(ProfileEndpoint& record, const ProfileEndpoint& factory) {
    record.setSelectedIeqPreset(factory.getSelectedIeqPreset());
    restoreValues(record, factory);
}

}  // namespace

ProfileContext::Defaults::Defaults(Provider* provider, int id)
    : profile(provider->loadDefaultProfile(id)),
      endpoints(provider->loadDefaultProfileEndpoints(id)),
      geqPreset(provider->loadDefaultGeqPreset(id)) {}

ProfileContext::Defaults::Defaults(const Provider::Records& records)
    : profile(records.profile), endpoints(records.endpoints), geqPreset(records.geqPreset) {}

void ProfileContext::load() {
    mProfile = mProvider->loadProfile(mId);
    mEndpoints = mProvider->loadProfileEndpoints(mId);
    mGeqPreset = mProvider->loadGeqPreset(mId);
    if (mDefaults == nullptr) mDefaults = std::make_unique<Defaults>(mProvider, mId);
}

void ProfileContext::useLoaded() {
    const Provider::Records records = mProvider->getRecords(mId);
    if (records.profile == nullptr) {
        load();  // a derived provider may have records of its own
        return;
    }
    mProfile = records.profile;
    mEndpoints = records.endpoints;
    mGeqPreset = records.geqPreset;
    mDefaults = std::make_unique<Defaults>(mProvider->getDefaultRecords(mId));
}

void ProfileContext::takeChanges(UserSettings* settings) {
    const auto take = [&](auto* record) {
        record->setDirty(false);
        if (!record->isChanged()) return;
        settings->add(*record);
        record->setChanged(false);
    };
    take(mProfile);
    for (ProfileEndpoint* const endpoint : mEndpoints) take(endpoint);
    take(mGeqPreset);
}

void ProfileContext::restoreDefaults() {
    restore(*mProfile, *mDefaults->profile);
    for (const ProfileEndpoint* const factory : mDefaults->endpoints) {
        restore(*getProfileEndpoint(factory->getEndpoint()), *factory);
    }
    restoreDefaultGeq();
}

void ProfileContext::restoreDefaultGeq() { restoreValues(*mGeqPreset, *mDefaults->geqPreset); }

void ProfileContext::save() {
    mProvider->save(mProfile);
    for (ProfileEndpoint* const endpoint : mEndpoints) mProvider->save(endpoint);
    mProvider->save(mGeqPreset);
}

void ProfileContext::reset() {
    Transaction transaction(*mProvider);
    mProfile = mProvider->reset(mProfile);
    for (ProfileEndpoint*& endpoint : mEndpoints) endpoint = mProvider->reset(endpoint);
    mGeqPreset = mProvider->reset(mGeqPreset);
    save();
    if (transaction.commit()) return;

    mProfile->setChanged(true);
    for (ProfileEndpoint* const endpoint : mEndpoints) endpoint->setChanged(true);
    mGeqPreset->setChanged(true);
}

void ProfileContext::resetGeq() {
    Transaction transaction(*mProvider);
    mGeqPreset = mProvider->reset(mGeqPreset);
    mProvider->save(mGeqPreset);
    if (!transaction.commit()) mGeqPreset->setChanged(true);
}

ProfileEndpoint* ProfileContext::getProfileEndpoint(Endpoint endpoint) const {
    const auto* const found =
        std::find_if(mEndpoints.begin(), mEndpoints.end(), [&](const ProfileEndpoint* record) {
            return record != nullptr && record->getEndpoint() == endpoint;
        });
    if (found != mEndpoints.end()) return *found;

    ALOGE(kNoEndpointMessage, static_cast<int>(endpoint));
    exitOnCorruptStore();
}

IeqPreset* ProfileContext::getSelectedIeqPreset(Endpoint endpoint) const {
    const ProfileEndpoint* const record = getProfileEndpoint(endpoint);
    const bool isOn = record->firstOf(IEQ_ENABLE, 0) != 0;
    return mProvider->loadIeqPreset(isOn ? record->getSelectedIeqPreset() : 0);
}

bool ProfileContext::isModified() const {
    if (!mProfile->equals(*mDefaults->profile)) return true;
    for (const ProfileEndpoint* const factory : mDefaults->endpoints) {
        if (!getProfileEndpoint(factory->getEndpoint())->equals(*factory)) return true;
    }
    return !mGeqPreset->equals(*mDefaults->geqPreset);
}

bool ProfileContext::isProfileSpecificSettingsModified() const {
    if (!mProfile->equals(*mDefaults->profile)) return true;
    return std::any_of(mDefaults->endpoints.begin(), mDefaults->endpoints.end(),
                       [&](const ProfileEndpoint* factory) {
                           const auto* current = getProfileEndpoint(factory->getEndpoint());
                           return !current->ParameterValues::equals(*factory);
                       });
}

// Unlike `mDefaults`, the provider has the factory copy that was read last.
bool ProfileContext::isGeqModified() const {
    return !mProvider->loadDefaultGeqPreset(mId)->equals(*mGeqPreset);
}

}  // namespace velora
