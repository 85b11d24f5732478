#define LOG_TAG "SndContext"

#include "context/SndContext.h"

#include "context/Fatal.h"

#include <algorithm>
#include <utility>

#include <log/log.h>

namespace velora {

using android::Mutex;

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kNoContextMessage[] = "Couldn't find the context for profileId: %d";
constexpr char kInvalidIeqNameMessage[] = "Invalid IEQ Preset Id!";
constexpr char kInvalidIeqPresetMessage[] = "%s(): Invalid IEq preset %d";
constexpr char kVirtualBassMessage[] =
    "Setting virtual-bass-enable is not supported for non-speaker endpoints";
constexpr char kTuningSetMessage[] = "Complete setting port[%s] use tuning device[%s]";

}  // namespace

SndContext::SndContext(Provider* provider, SndContextChangeObservable* observable)
    : mProvider(provider),
      mObservable(observable),
      mNumOfIeqPresets(provider->getNumOfIeqPresets()),
      mNumOfProfiles(provider->getNumOfProfiles()),
      mWriter(std::make_shared<StoreWriter>(provider)),
      mTunings(provider) {
    for (int id = 0; id < mNumOfProfiles; ++id) {
        mProfileContexts.push_back(std::make_unique<ProfileContext>(provider, id));
    }
}

// The provider may be destroyed next, while somebody still waits for a save.
SndContext::~SndContext() { mWriter->stop(); }

void SndContext::registerObserver(OnSndContextChange* observer) {
    mObservable->registerObserver(observer);
    observer->onLoad(*this);
}

void SndContext::unregisterObserver(OnSndContextChange* observer) {
    mObservable->unregisterObserver(observer);
}

void SndContext::load() {
    {
        Mutex::Autolock lock(mLock);
        mProvider->loadAll();
        for (const auto& context : mProfileContexts) context->useLoaded();
        loadSelectionLocked();
        mTunings.load();
    }

    mObservable->onLoad(*this);
}

void SndContext::loadSelectionLocked() {
    int selected = mProvider->getSelectedProfile();
    mStoredProfile = selected;
    if (selected < 0 || selected >= mNumOfProfiles) {
        ALOGW("There is no profile %d, profile 0 is selected", selected);
        selected = 0;
    }
    mSelectedContext = getContextLocked(selected);

    mSfxOn = mProvider->isSfxOn();
    mStoredSfxOn = mSfxOn;
}

SndContext::Save SndContext::beginSave(Part part) {
    Mutex::Autolock lock(mLock);
    const bool isAll = part == Part::EVERYTHING;
    UserSettings changed;
    if (isAll || part == Part::PROFILES) takeProfilesLocked(&changed);
    if (isAll || part == Part::SWITCH) takeSwitchLocked(&changed);
    if (part != Part::SWITCH) takeSelectedProfileLocked(&changed);
    if (isAll) mTunings.takeChanges(&changed);
    return mWriter->submit(std::move(changed));
}

void SndContext::takeProfilesLocked(UserSettings* settings) {
    for (const auto& context : mProfileContexts) context->takeChanges(settings);
}

void SndContext::takeSwitchLocked(UserSettings* settings) {
    if (std::exchange(mStoredSfxOn, mSfxOn) != mSfxOn) settings->sfxOn = mSfxOn;
}

void SndContext::takeSelectedProfileLocked(UserSettings* settings) {
    const int id = mSelectedContext->getId();
    if (std::exchange(mStoredProfile, id) != id) settings->selectedProfile = id;
}

void SndContext::reloadAllProfile() {
    bool on = false;
    {
        Mutex::Autolock lock(mLock);
        // Saves that are under way are not lost.
        (void)mWriter->submit({}).wait();
        mWriter->discardPending();
        const ReadSession session = mProvider->startReading();
        for (const auto& context : mProfileContexts) context->load();
        loadSelectionLocked();
        on = mSfxOn;
    }

    mObservable->onSelectedProfileChanged(*this);
    mObservable->onSfxOnChanged(*this, on);
}

void SndContext::useTunings(Provider::Tunings tunings) {
    Mutex::Autolock lock(mLock);
    mProvider->useTunings(std::move(tunings));
}

void SndContext::reloadTuning() {
    for (const Port port : kSupportedPorts) {
        Tuning* tuning = nullptr;
        {
            Mutex::Autolock lock(mLock);
            tuning = mTunings.reload(port);
        }
        if (tuning != nullptr) mObservable->onSelectedTuningChanged(*this, port, *tuning);
    }
}

bool SndContext::getSfxOn() const {
    Mutex::Autolock lock(mLock);
    return mSfxOn;
}

void SndContext::setSfxOn(bool on) {
    {
        Mutex::Autolock lock(mLock);
        if (mSfxOn == on) return;
        mSfxOn = on;
    }

    mObservable->onSfxOnChanged(*this, on);
}

ProfileContext* SndContext::getContextLocked(int id) const {
    if (id >= 0 && id < mNumOfProfiles) return mProfileContexts[static_cast<size_t>(id)].get();
    ALOGE(kNoContextMessage, id);
    exitOnCorruptStore();
}

ProfileContext* SndContext::getContext(int id) const {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id);
}

bool SndContext::isSelectedLocked(int id) const { return mSelectedContext->getId() == id; }

bool SndContext::isSelected(int id) const {
    Mutex::Autolock lock(mLock);
    return isSelectedLocked(id);
}

Profile* SndContext::getSelectedProfile() const {
    Mutex::Autolock lock(mLock);
    return mSelectedContext->getProfile();
}

void SndContext::setSelectedProfile(int id) {
    {
        Mutex::Autolock lock(mLock);
        if (isSelectedLocked(id)) return;
        mSelectedContext = getContextLocked(id);
    }

    mObservable->onSelectedProfileChanged(*this);
}

Profile* SndContext::getProfile(int id) const {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getProfile();
}

GeqPreset* SndContext::getProfileGeq(int id) const {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getSelectedGeqPreset();
}

Profile* SndContext::getDefaultProfile(int id) const {
    Mutex::Autolock lock(mLock);
    return mProvider->getDefaultRecords(id).profile;
}

ProfileEndpoint* SndContext::getProfileEndpoint(Endpoint endpoint) const {
    Mutex::Autolock lock(mLock);
    return mSelectedContext->getProfileEndpoint(endpoint);
}

ProfileEndpoint* SndContext::getProfileEndpoint(int id, Endpoint endpoint) const {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getProfileEndpoint(endpoint);
}

ProfileEndpoint* SndContext::getSelectedProfileEndpoint(Port port) const {
    Mutex::Autolock lock(mLock);
    const Tuning* const tuning = mTunings.getTuning(port);
    return tuning != nullptr ? mSelectedContext->getProfileEndpoint(tuning->getEndpoint())
                             : nullptr;
}

IeqPreset* SndContext::getSelectedProfileIeq(Port port) const {
    Mutex::Autolock lock(mLock);
    const Tuning* const tuning = mTunings.getTuning(port);
    return tuning != nullptr ? mSelectedContext->getSelectedIeqPreset(tuning->getEndpoint())
                             : nullptr;
}

GeqPreset* SndContext::getSelectedProfileGeq() const {
    Mutex::Autolock lock(mLock);
    return mSelectedContext->getSelectedGeqPreset();
}

std::string SndContext::getIeqPresetName(int id) const {
    Mutex::Autolock lock(mLock);
    if (id < 0 || id > mNumOfIeqPresets) {
        ALOGE(kInvalidIeqNameMessage);
        return {};
    }
    return mProvider->loadIeqPreset(id)->getName();
}

bool SndContext::isProfileModified(int id) const {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->isModified();
}

bool SndContext::isProfileGeqModified(int id) const {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->isGeqModified();
}

bool SndContext::isProfileSpecificSettingsModified(int id) const {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->isProfileSpecificSettingsModified();
}

SndContext::Save SndContext::beginReset(int id) {
    Save save;
    bool selected = false;
    {
        Mutex::Autolock lock(mLock);
        UserSettings changed;
        getContextLocked(id)->restoreDefaults();
        getContextLocked(id)->takeChanges(&changed);
        save = mWriter->submit(std::move(changed));
        selected = isSelectedLocked(id);
    }

    if (selected) mObservable->onSelectedProfileChanged(*this);
    return save;
}

void SndContext::resetProfileGeq(int id) {
    Save save;
    GeqPreset* preset = nullptr;
    {
        Mutex::Autolock lock(mLock);
        UserSettings changed;
        getContextLocked(id)->restoreDefaultGeq();
        getContextLocked(id)->takeChanges(&changed);
        save = mWriter->submit(std::move(changed));
        if (isSelectedLocked(id)) preset = getContextLocked(id)->getSelectedGeqPreset();
    }

    if (preset != nullptr) mObservable->onSelectedProfileGeqChanged(*this, *preset);
    (void)save.wait();  // a failure is logged; the next save stores it
}

bool SndContext::setParameter(ParameterValues& record, Parameter parameter, const Values& values) {
    if (!record.getValidParams().contains(parameter)) return false;

    const Values& stored = record.get(parameter);
    const bool isPrefix =
        values.size() <= stored.size() && std::equal(values.begin(), values.end(), stored.begin());
    if (isPrefix && !stored.empty()) return false;

    record.set(parameter, values);
    return true;
}

void SndContext::setProfileParameter(int id, Parameter parameter, const Values& values) {
    Profile* changed = nullptr;
    {
        Mutex::Autolock lock(mLock);
        Profile* const profile = getContextLocked(id)->getProfile();
        const bool written = setParameter(*profile, parameter, values);
        if (written && isSelectedLocked(id)) changed = profile;
    }

    if (changed != nullptr) mObservable->onSelectedProfileParameterChanged(*this, *changed);
}

void SndContext::setProfileGeqParameter(int id, Parameter parameter, const Values& values) {
    GeqPreset* changed = nullptr;
    {
        Mutex::Autolock lock(mLock);
        GeqPreset* const preset = getContextLocked(id)->getSelectedGeqPreset();
        const bool written = setParameter(*preset, parameter, values);
        if (written && isSelectedLocked(id)) changed = preset;
    }

    if (changed != nullptr) mObservable->onSelectedProfileGeqChanged(*this, *changed);
}

void SndContext::setProfileParameter(int id, Endpoint endpoint, Parameter parameter,
                                     const Values& values) {
    if (endpoint != Endpoint::SPEAKER && parameter == VIRTUAL_BASS_ENABLE) {
        ALOGW(kVirtualBassMessage);
        return;
    }
    // The selected preset is a field of the record, not one of its values.
    if (parameter == IEQ_ID) {
        selectIeqPreset(id, endpoint, values);
        return;
    }

    {
        Mutex::Autolock lock(mLock);
        ProfileEndpoint* const record = getContextLocked(id)->getProfileEndpoint(endpoint);
        if (!setParameter(*record, parameter, values)) return;
    }

    notifyEndpoint(id, endpoint);
}

/// Whether what profile `id` has for `endpoint` is heard on `port`.
bool SndContext::isInForceLocked(int id, Port port, Endpoint endpoint) const {
    return isSelectedLocked(id) && mTunings.isFor(port, endpoint);
}

// An observer may change the selection when it is notified of one port, so each port is checked
// just before its own notification.
void SndContext::notifyEndpoint(int id, Endpoint endpoint) {
    for (const Port port : kSupportedPorts) {
        ProfileEndpoint* record = nullptr;
        {
            Mutex::Autolock lock(mLock);
            if (!isInForceLocked(id, port, endpoint)) continue;
            record = getContextLocked(id)->getProfileEndpoint(endpoint);
        }
        mObservable->onSelectedProfileEndpointChanged(*this, port, *record);
    }
}

void SndContext::notifyIeqPreset(int id, Endpoint endpoint) {
    for (const Port port : kSupportedPorts) {
        IeqPreset* preset = nullptr;
        {
            Mutex::Autolock lock(mLock);
            if (!isInForceLocked(id, port, endpoint)) continue;
            preset = getContextLocked(id)->getSelectedIeqPreset(endpoint);
        }
        mObservable->onSelectedProfileIeqChanged(*this, port, *preset);
    }
}

void SndContext::selectIeqPreset(int id, Endpoint endpoint, const Values& values) {
    if (values.empty()) return;
    const int preset = values.front();
    {
        Mutex::Autolock lock(mLock);
        if (!mTunings.isUsed(endpoint)) return;
        if (preset < 0 || preset > mNumOfIeqPresets) {
            ALOGE(kInvalidIeqPresetMessage, "setProfileParameter", preset);
            return;
        }
        const auto* const record = getContextLocked(id)->getProfileEndpoint(endpoint);
        if (record->getSelectedIeqPreset() == preset) return;
    }

    // This notifies observers if the switch changes, so the lock must not be held.
    setProfileParameter(id, endpoint, IEQ_ENABLE, {preset != 0});
    {
        Mutex::Autolock lock(mLock);
        getContextLocked(id)->getProfileEndpoint(endpoint)->setSelectedIeqPreset(preset);
    }

    notifyIeqPreset(id, endpoint);
}

SndContext::Values SndContext::getProfileParameter(int id, Parameter parameter) const {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getProfile()->get(parameter);
}

SndContext::Values SndContext::getProfileParameter(int id, Endpoint endpoint,
                                                   Parameter parameter) const {
    Mutex::Autolock lock(mLock);
    const ProfileContext* const context = getContextLocked(id);
    if (parameter == IEQ_ID) return context->getSelectedIeqPreset(endpoint)->get(parameter);
    return context->getProfileEndpoint(endpoint)->get(parameter);
}

SndContext::Values SndContext::getProfileGeqParameter(int id, Parameter parameter) const {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getSelectedGeqPreset()->get(parameter);
}

SndContext::Values SndContext::getSelectedTuningParameter(Port port, Parameter parameter) const {
    Mutex::Autolock lock(mLock);
    const Tuning* const tuning = mTunings.getTuning(port);
    return tuning != nullptr ? tuning->get(parameter) : Values{};
}

Tuning* SndContext::getSelectedTuning(Port port) const {
    Mutex::Autolock lock(mLock);
    return mTunings.getTuning(port);
}

std::string SndContext::getSelectedTuningDevice(Port port) const {
    Mutex::Autolock lock(mLock);
    return mTunings.getDevice(port);
}

std::vector<std::string> SndContext::getAvailableTuningDevice(Port port) const {
    Mutex::Autolock lock(mLock);
    return mTunings.getAvailableDevices(port);
}

std::string SndContext::getDefaultTuningDevice(Port port) const {
    Mutex::Autolock lock(mLock);
    return mTunings.getDefaultDevice(port);
}

void SndContext::selectDefaultTuning(Port port) {
    setSelectedTuning(port, getDefaultTuningDevice(port), false);
}

bool SndContext::setSelectedTuning(Port port, const std::string& device, bool force) {
    Tuning* changed = nullptr;
    {
        Mutex::Autolock lock(mLock);
        if (!force && mTunings.getDevice(port) == device) return true;
        const auto result = mTunings.select(port, device, force);
        if (result == TuningSelection::Result::REFUSED) return false;
        if (result == TuningSelection::Result::NEW_TUNING) changed = mTunings.getTuning(port);
    }

    if (changed != nullptr) mObservable->onSelectedTuningChanged(*this, port, *changed);
    ALOGD(kTuningSetMessage, portInfo(port).name.data(), device.c_str());
    return true;
}

}  // namespace velora
