#define LOG_TAG "SndContext"

#include "context/SndContext.h"

#include "context/Fatal.h"

#include <algorithm>

#include <log/log.h>

namespace velora {

using android::Mutex;

namespace {

constexpr std::string_view kDefaultPrefix = "default_";

const char* portName(Port port) { return isPort(port) ? portInfo(port).name.data() : "?"; }

}  // namespace

SndContext::SndContext(Provider* provider, SndContextChangeObservable* observable)
    : mProvider(provider),
      mObservable(observable),
      mNumOfIeqPresets(provider->getNumOfIeqPresets()),
      mNumOfProfiles(provider->getNumOfProfiles()) {
    for (int id = 0; id < mNumOfProfiles; ++id) {
        mProfileContexts.push_back(std::make_unique<ProfileContext>(provider, id));
    }
}

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
        loadProfilesLocked();
        for (const Port port : kSupportedPorts) {
            mSelectedDevices.try_emplace(port, mProvider->getDeviceTuning(portName(port)));
            useAvailableDeviceLocked(port);
            mSelectedTunings.try_emplace(port,
                                         mProvider->loadTuningForDevice(mSelectedDevices[port]));
        }
    }
    mObservable->onLoad(*this);
}

void SndContext::loadProfilesLocked() {
    int selected = mProvider->getSelectedProfile();
    for (const auto& context : mProfileContexts) context->load();
    if (selected < 0 || selected >= mNumOfProfiles) {
        ALOGW("There is no profile %d, profile 0 is selected", selected);
        selected = 0;
    }
    mSelectedContext = getContextLocked(selected);
    mSfxOn = mProvider->isSfxOn();
}

bool SndContext::save() {
    Mutex::Autolock lock(mLock);
    mProvider->beginTransaction();
    saveProfilesLocked();
    mProvider->setSfxOn(mSfxOn);
    for (const Port port : kSupportedPorts) {
        mProvider->updateDeviceTuning(portName(port), deviceOfLocked(port));
    }
    return mProvider->commitTransaction();
}

void SndContext::saveProfilesLocked() {
    for (const auto& context : mProfileContexts) context->save();
    mProvider->setSelectedProfile(mSelectedContext->getId());
}

void SndContext::reloadAllProfile() {
    bool on = false;
    {
        Mutex::Autolock lock(mLock);
        loadProfilesLocked();
        on = mSfxOn;
    }
    mObservable->onSelectedProfileChanged(*this);
    mObservable->onSfxOnChanged(*this, on);
}

void SndContext::reloadTuning() {
    for (const Port port : kSupportedPorts) {
        Tuning* tuning = nullptr;
        {
            Mutex::Autolock lock(mLock);
            tuning = reloadTuningLocked(port);
        }
        if (tuning != nullptr) mObservable->onSelectedTuningChanged(*this, port, *tuning);
    }
}

void SndContext::useAvailableDeviceLocked(Port port) {
    std::string& device = mSelectedDevices[port];
    const auto available = devicesForLocked(port);
    if (std::find(available.begin(), available.end(), device) != available.end()) return;
    const std::string fallback = defaultDeviceForLocked(port);
    ALOGW("Current selected tuning dev[%s] is not available for port[%s], revert to use dev[%s].",
          device.c_str(), portName(port), fallback.c_str());
    device = fallback;
}

Tuning* SndContext::reloadTuningLocked(Port port) {
    useAvailableDeviceLocked(port);
    const std::string& device = mSelectedDevices[port];
    Tuning* const tuning = mProvider->loadTuningForDevice(device);
    if (tuning == nullptr) {
        ALOGE("Cannot load tuning data for device[%s] on port[%s]", device.c_str(), portName(port));
        return nullptr;
    }
    mSelectedTunings[port] = tuning;
    ALOGD("Reset tuning[%s] for port[%s] and notify observers.", tuning->getName().c_str(),
          portName(port));
    return tuning;
}

void SndContext::saveSndState() {
    Mutex::Autolock lock(mLock);
    mProvider->setSfxOn(mSfxOn);
}

void SndContext::saveSndProfile() {
    Mutex::Autolock lock(mLock);
    mProvider->setSelectedProfile(mSelectedContext->getId());
}

bool SndContext::saveSndProfileSettings() {
    Mutex::Autolock lock(mLock);
    mProvider->beginTransaction();
    saveProfilesLocked();
    return mProvider->commitTransaction();
}

bool SndContext::getSfxOn() {
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

ProfileContext* SndContext::getContextLocked(int id) {
    if (id >= 0 && id < mNumOfProfiles) return mProfileContexts[static_cast<size_t>(id)].get();
    ALOGE("Couldn't find the context for profileId: %d", id);
    leaveProcess();
}

ProfileContext* SndContext::getContext(int id) {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id);
}

bool SndContext::isSelectedLocked(int id) const { return mSelectedContext->getId() == id; }

bool SndContext::isSelected(int id) {
    Mutex::Autolock lock(mLock);
    return isSelectedLocked(id);
}

Profile* SndContext::getSelectedProfile() {
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

Profile* SndContext::getProfile(int id) {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getProfile();
}

GeqPreset* SndContext::getProfileGeq(int id) {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getSelectedGeqPreset();
}

Profile* SndContext::getDefaultProfile(int id) {
    Mutex::Autolock lock(mLock);
    return mProvider->loadDefaultProfile(id);
}

ProfileEndpoint* SndContext::getProfileEndpoint(Endpoint endpoint) {
    Mutex::Autolock lock(mLock);
    return mSelectedContext->getProfileEndpoint(endpoint);
}

ProfileEndpoint* SndContext::getProfileEndpoint(int id, Endpoint endpoint) {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getProfileEndpoint(endpoint);
}

ProfileEndpoint* SndContext::getSelectedProfileEndpoint(Port port) {
    Mutex::Autolock lock(mLock);
    const Tuning* const tuning = findTuningLocked(port);
    return tuning != nullptr ? mSelectedContext->getProfileEndpoint(tuning->getEndpoint())
                             : nullptr;
}

IeqPreset* SndContext::getSelectedProfileIeq(Port port) {
    Mutex::Autolock lock(mLock);
    const Tuning* const tuning = findTuningLocked(port);
    return tuning != nullptr ? mSelectedContext->getSelectedIeqPreset(tuning->getEndpoint())
                             : nullptr;
}

GeqPreset* SndContext::getSelectedProfileGeq() {
    Mutex::Autolock lock(mLock);
    return mSelectedContext->getSelectedGeqPreset();
}

std::string SndContext::getIeqPresetName(int id) {
    Mutex::Autolock lock(mLock);
    if (id < 0 || id > mNumOfIeqPresets) {
        ALOGE("Invalid IEQ Preset Id!");
        return {};
    }
    return mProvider->loadIeqPreset(id)->getName();
}

bool SndContext::isProfileModified(int id) {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->isModified();
}

bool SndContext::isProfileGeqModified(int id) {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->isGeqModified();
}

bool SndContext::isProfileSpecificSettingsModified(int id) {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->isProfileSpecificSettingsModified();
}

void SndContext::resetProfile(int id) {
    bool selected = false;
    {
        Mutex::Autolock lock(mLock);
        getContextLocked(id)->reset();
        selected = isSelectedLocked(id);
    }
    if (selected) mObservable->onSelectedProfileChanged(*this);
}

void SndContext::resetProfileGeq(int id) {
    GeqPreset* preset = nullptr;
    {
        Mutex::Autolock lock(mLock);
        getContextLocked(id)->resetGeq();
        if (isSelectedLocked(id)) preset = getContextLocked(id)->getSelectedGeqPreset();
    }
    if (preset != nullptr) mObservable->onSelectedProfileGeqChanged(*this, *preset);
}

bool SndContext::setParameter(ParameterValues& record, Parameter parameter, const Values& values) {
    if (!record.getValidParams().contains(parameter)) return false;
    const Values& stored = record.get(parameter);
    if (!stored.empty()) {
        const bool begins = values.size() <= stored.size() &&
                            std::equal(values.begin(), values.end(), stored.begin());
        if (begins) return false;
    }
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
        ALOGW("Setting virtual-bass-enable is not supported for non-speaker endpoints");
        return;
    }
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

// An observer may change the selection while it is told: what no longer holds isn't told on.
bool SndContext::isInForceLocked(int id, Port port, Endpoint endpoint) const {
    const Tuning* const tuning = findTuningLocked(port);
    return isSelectedLocked(id) && tuning != nullptr && tuning->getEndpoint() == endpoint;
}

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

void SndContext::selectIeqPreset(int id, Endpoint endpoint, const Values& values) {
    if (values.empty()) return;
    const int preset = values.front();
    {
        Mutex::Autolock lock(mLock);
        if (!isUsedLocked(endpoint)) return;
        if (preset < 0 || preset > mNumOfIeqPresets) {
            ALOGE("%s(): Invalid IEq preset %d", "setProfileParameter", preset);
            return;
        }
        const auto* const record = getContextLocked(id)->getProfileEndpoint(endpoint);
        if (record->getSelectedIeqPreset() == preset) return;
    }
    setProfileParameter(id, endpoint, IEQ_ENABLE, {preset != 0});
    {
        Mutex::Autolock lock(mLock);
        getContextLocked(id)->getProfileEndpoint(endpoint)->setSelectedIeqPreset(preset);
    }
    for (const Port port : kSupportedPorts) {
        IeqPreset* inForce = nullptr;
        {
            Mutex::Autolock lock(mLock);
            if (!isInForceLocked(id, port, endpoint)) continue;
            inForce = getContextLocked(id)->getSelectedIeqPreset(endpoint);
        }
        mObservable->onSelectedProfileIeqChanged(*this, port, *inForce);
    }
}

SndContext::Values SndContext::getProfileParameter(int id, Parameter parameter) {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getProfile()->get(parameter);
}

SndContext::Values SndContext::getProfileParameter(int id, Endpoint endpoint, Parameter parameter) {
    Mutex::Autolock lock(mLock);
    const ProfileContext* const context = getContextLocked(id);
    if (parameter == IEQ_ID) return context->getSelectedIeqPreset(endpoint)->get(parameter);
    return context->getProfileEndpoint(endpoint)->get(parameter);
}

SndContext::Values SndContext::getProfileGeqParameter(int id, Parameter parameter) {
    Mutex::Autolock lock(mLock);
    return getContextLocked(id)->getSelectedGeqPreset()->get(parameter);
}

SndContext::Values SndContext::getSelectedTuningParameter(Port port, Parameter parameter) {
    Mutex::Autolock lock(mLock);
    const Tuning* const tuning = findTuningLocked(port);
    return tuning != nullptr ? tuning->get(parameter) : Values{};
}

Tuning* SndContext::findTuningLocked(Port port) const {
    const auto place = mSelectedTunings.find(port);
    return place != mSelectedTunings.end() ? place->second : nullptr;
}

std::string SndContext::deviceOfLocked(Port port) const {
    const auto place = mSelectedDevices.find(port);
    return place != mSelectedDevices.end() ? place->second : std::string();
}

bool SndContext::isUsedLocked(Endpoint endpoint) const {
    return std::any_of(mSelectedTunings.begin(), mSelectedTunings.end(), [&](const auto& entry) {
        return entry.second != nullptr && entry.second->getEndpoint() == endpoint;
    });
}

Tuning* SndContext::getSelectedTuning(Port port) {
    Mutex::Autolock lock(mLock);
    return findTuningLocked(port);
}

std::string SndContext::getSelectedTuningDevice(Port port) {
    Mutex::Autolock lock(mLock);
    return deviceOfLocked(port);
}

std::vector<std::string> SndContext::devicesForLocked(Port port) {
    std::vector<std::string> names;
    for (const DeviceTuning* const device : mProvider->loadDeviceTuningsForPort(port)) {
        names.push_back(device->getDevice());
    }
    return names;
}

std::vector<std::string> SndContext::getAvailableTuningDevice(Port port) {
    Mutex::Autolock lock(mLock);
    return devicesForLocked(port);
}

std::string SndContext::defaultDeviceForLocked(Port port) {
    const auto devices = devicesForLocked(port);
    const auto preferred =
        std::find_if(devices.begin(), devices.end(),
                     [](const std::string& name) { return name.starts_with(kDefaultPrefix); });
    if (preferred != devices.end()) return *preferred;
    const bool hasNamesake =
        std::find(devices.begin(), devices.end(), portName(port)) != devices.end();
    if (hasNamesake || devices.empty() || devices.front().empty()) return portName(port);
    return devices.front();
}

std::string SndContext::getDefaultTuningDevice(Port port) {
    Mutex::Autolock lock(mLock);
    return defaultDeviceForLocked(port);
}

void SndContext::selectDefaultTuning(Port port) {
    setSelectedTuning(port, getDefaultTuningDevice(port), false);
}

bool SndContext::setSelectedTuning(Port port, const std::string& device, bool force) {
    Tuning* changed = nullptr;
    {
        Mutex::Autolock lock(mLock);
        if (!force && deviceOfLocked(port) == device) return true;
        const auto available = devicesForLocked(port);
        if (std::find(available.begin(), available.end(), device) == available.end()) {
            ALOGE(
                "%s is not a valid tuning device for port %s, please call "
                "getAvailableTuningDevice(port) to check first!",
                device.c_str(), portName(port));
            return false;
        }
        Tuning* const tuning = mProvider->loadTuningForDevice(device);
        if (tuning == nullptr) {
            ALOGW("Failed to set tuning for port[%s] as device[%s]", portName(port),
                  device.c_str());
            return false;
        }
        mSelectedDevices[port] = device;
        Tuning*& selected = mSelectedTunings[port];
        const bool keeps =
            selected != nullptr && !force && selected->getName() == tuning->getName();
        if (!keeps) changed = selected = tuning;
    }
    if (changed != nullptr) mObservable->onSelectedTuningChanged(*this, port, *changed);
    ALOGD("Complete setting port[%s] use tuning device[%s]", portName(port), device.c_str());
    return true;
}

}  // namespace velora
