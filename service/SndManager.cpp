#define LOG_TAG "SndManager"

#include "service/SndManager.h"

#include "context/SndContextManager.h"
#include "effect/SfxController.h"
#include "effect/SfxEffect.h"
#include "service/ParameterAdapter.h"

#include <utility>

#include <log/log.h>
#include <utils/Errors.h>

namespace velora {

using android::Mutex;

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kVersionMessage[] = "Created SFX effect version [ %d ]";
constexpr char kNegativeSessionMessage[] =
    "SFX effect with specified session Id (%d) is less than zero";
constexpr char kNoControlMessage[] = "Cannot control the SndEffect, trying to recreate...";
constexpr char kSuspendedMessage[] = "SND effect is now suspended";
constexpr char kInvalidProfileMessage[] = "Invalid Profile Id!";
constexpr char kInvalidPortMessage[] = "Invalid Port!";
constexpr char kInvalidParameterMessage[] = "Invalid paramId!";
constexpr char kReloadMessage[] = "Tell SndContextManager to reload tuning XML.";

constexpr int kSession = 0;
constexpr int kVersionParameter = 3;  // parameter of the effect that holds its version

constexpr int kUnknownOrientation = 0;
constexpr int kPortraitOrientation = 1;

/// A port's endpoint; null, and a line in the log, for a number that is no port.
const Endpoint* endpointOfPort(int port) {
    if (isPort(port)) return kEndpNameToEndpoint.find(portInfo(static_cast<Port>(port)).name);
    ALOGE(kInvalidPortMessage);
    return nullptr;
}

/// The parameters that are set along with `id`, which is one of them.
std::vector<int> parametersSetWith(int id) {
    if (id == kVirtualBassEnable) return {kVirtualBassEnable, kSteererSourceDistance};
    return {id};
}

}  // namespace

Mutex SndManager::sLock;

SndManager::SndManager() = default;

SndManager::~SndManager() {
    Mutex::Autolock lock(sLock);
    if (mController != nullptr) mContext->unregisterObserver(mController.get());
    mController.reset();
    mAdapter.reset();
    mEffect.reset();
}

int SndManager::init() {
    Mutex::Autolock lock(sLock);
    if (mContext != nullptr) return android::OK;

    // A new manager loads by itself, an existing one that failed is asked to try again.
    const bool exists = SndContextManager::hasInstance();
    SndContextManager& manager = SndContextManager::getInstance();
    if (exists) manager.init();
    SndContext* const context = manager.getSndContext();
    if (context == nullptr) return android::NO_INIT;

    mEffect = createSfxEffect(kSession);
    mEffect->setEnabled(true);
    std::vector<int32_t> version{0};
    mEffect->receive(kVersionParameter, version);
    ALOGI(kVersionMessage, version.front());

    mController = std::make_unique<SfxController>(*mEffect);
    context->registerObserver(mController.get());
    mAdapter = std::make_unique<ParameterAdapter>(context);
    mContext = context;
    return android::OK;
}

std::unique_ptr<SfxEffect> SndManager::createSfxEffect(int sessionId) {
    if (sessionId < 0) ALOGE(kNegativeSessionMessage, sessionId);
    mSessionId = sessionId;
    return std::make_unique<SfxEffect>(sessionId, android::String16("SndService"));
}

void SndManager::recreateSndEffectLocked() {
    // The controller refers to the previous effect until it is given the new one.
    const auto previous = std::exchange(mEffect, createSfxEffect(mSessionId));
    mController->setSfxEffect(*mEffect, *mContext);
    mEffect->setEnabled(true);
}

void SndManager::validateSndEffectLocked() {
    if (mEffect->hasControl()) return;
    ALOGI(kNoControlMessage);
    recreateSndEffectLocked();
}

bool SndManager::prepareChangeLocked() {
    if (mContext == nullptr) return false;
    validateSndEffectLocked();
    return true;
}

bool SndManager::recreateSndEffect() {
    Mutex::Autolock lock(sLock);
    if (mContext == nullptr) return false;
    recreateSndEffectLocked();
    return true;
}

bool SndManager::validateSndEffect() {
    Mutex::Autolock lock(sLock);
    return prepareChangeLocked();
}

bool SndManager::getSndOn() {
    Mutex::Autolock lock(sLock);
    if (mSuspended) {
        ALOGI(kSuspendedMessage);
        return false;
    }
    return mContext != nullptr && mContext->getSfxOn();
}

void SndManager::setSndOn(bool on) {
    Mutex::Autolock lock(sLock);
    if (prepareChangeLocked()) mContext->setSfxOn(on);
}

bool SndManager::setSndSuspended(bool suspended) {
    Mutex::Autolock lock(sLock);
    if (!prepareChangeLocked()) return false;
    if (mSuspended == suspended) return suspended;
    mSuspended = suspended;
    return mContext->getSfxOn();
}

bool SndManager::getSndSuspended() {
    Mutex::Autolock lock(sLock);
    prepareChangeLocked();
    return mSuspended;
}

std::string SndManager::getSndVersion() { return "SND_VERSION_EXTERNAL"; }

bool SndManager::isProfileLocked(int profile) const {
    return mContext != nullptr && profile >= 0 && profile < mContext->getNumOfProfiles();
}

bool SndManager::isParameterLocked(int profile, int id) const {
    return isProfileLocked(profile) && id >= kFirstAdapterParameter;
}

int SndManager::getNumOfProfiles() {
    Mutex::Autolock lock(sLock);
    return mContext != nullptr ? mContext->getNumOfProfiles() : 0;
}

int SndManager::getProfileNameLen(int profile) {
    Mutex::Autolock lock(sLock);
    return mContext != nullptr ? static_cast<int>(profileNameLocked(profile).size()) + 1 : 0;
}

std::string SndManager::getProfileName(int profile) {
    Mutex::Autolock lock(sLock);
    return profileNameLocked(profile);
}

std::string SndManager::profileNameLocked(int profile) {
    if (isProfileLocked(profile)) return mContext->getProfile(profile)->getName();
    ALOGE(kInvalidProfileMessage);
    return {};
}

bool SndManager::setSelectedProfile(int profile) {
    Mutex::Autolock lock(sLock);
    if (!prepareChangeLocked() || !isProfileLocked(profile)) return false;
    mContext->setSelectedProfile(profile);
    return true;
}

int SndManager::getSelectedProfile() {
    Mutex::Autolock lock(sLock);
    return mContext != nullptr ? mContext->getSelectedProfile()->getProfileId() : 0;
}

bool SndManager::resetProfile(int profile) {
    SndContext::Save save;
    {
        Mutex::Autolock lock(sLock);
        if (!prepareChangeLocked() || !isProfileLocked(profile)) return false;
        save = mContext->beginReset(profile);
    }
    (void)save.wait();
    return true;
}

bool SndManager::isProfileModified(int profile) {
    Mutex::Autolock lock(sLock);
    return isProfileLocked(profile) && mContext->isProfileModified(profile);
}

bool SndManager::isMobilityProfileSelected() {
    Mutex::Autolock lock(sLock);
    return mContext != nullptr && mContext->getSelectedProfile()->isMobility();
}

int SndManager::getNumOfIeqPresets() {
    Mutex::Autolock lock(sLock);
    return mContext != nullptr ? mContext->getNumOfIeqPresets() : 0;
}

std::string SndManager::getIeqPresetName(int preset) {
    Mutex::Autolock lock(sLock);
    return mContext != nullptr ? mContext->getIeqPresetName(preset) : std::string();
}

int SndManager::getAvailableTuningDevicesLen(Port port) {
    size_t length = 0;
    for (const std::string& name : getAvailableTuningDevices(port)) length += name.size() + 1;
    return static_cast<int>(length);
}

std::vector<std::string> SndManager::getAvailableTuningDevices(Port port) {
    Mutex::Autolock lock(sLock);
    if (mContext == nullptr) return {};
    return mContext->getAvailableTuningDevice(port);
}

std::string SndManager::getSelectedTuningName(Port port) {
    Mutex::Autolock lock(sLock);
    return mContext != nullptr ? mContext->getSelectedTuningDevice(port) : std::string();
}

void SndManager::setSelectedTuning(Port port, const std::string& name) {
    Mutex::Autolock lock(sLock);
    if (mContext != nullptr) mContext->setSelectedTuning(port, name, false);
}

const Tuning* SndManager::speakerTuningLocked() {
    return mContext != nullptr ? mContext->getSelectedTuning(PORT_INTERNAL_SPEAKER) : nullptr;
}

bool SndManager::isMonoInternalSpeaker() {
    Mutex::Autolock lock(sLock);
    const Tuning* const tuning = speakerTuningLocked();
    return tuning != nullptr && tuning->isMono();
}

bool SndManager::isSpeakerPortraitMode() {
    Mutex::Autolock lock(sLock);
    const Tuning* const tuning = speakerTuningLocked();
    return tuning != nullptr &&
           tuning->firstOf(ORIENTATION, kUnknownOrientation) == kPortraitOrientation;
}

int SndManager::getParamLength(int id) {
    Mutex::Autolock lock(sLock);
    if (id < kFirstAdapterParameter) {
        ALOGE(kInvalidParameterMessage);
        return 0;
    }
    return mAdapter != nullptr ? mAdapter->getParameterLength(id) : 0;
}

bool SndManager::setParameter(int profile, int id, const Values& values) {
    Mutex::Autolock lock(sLock);
    if (!prepareChangeLocked() || !isParameterLocked(profile, id) || values.empty()) return false;

    for (const int each : parametersSetWith(id)) {
        Values copy = values;  // the adapter limits it to the range of this parameter
        mAdapter->setParameter(profile, each, copy);
    }
    return true;
}

SndManager::Values SndManager::getParameter(int profile, int id) {
    Mutex::Autolock lock(sLock);
    if (!isParameterLocked(profile, id)) return {};
    return mAdapter->getParameter(profile, id);
}

SndManager::Values SndManager::getProfileParameter(int profile, Parameter parameter) {
    Mutex::Autolock lock(sLock);
    if (!isProfileLocked(profile)) return {};
    return mContext->getProfileParameter(profile, parameter);
}

bool SndManager::setProfilePortParameter(int profile, int port, int id, const Values& values) {
    Mutex::Autolock lock(sLock);
    if (!prepareChangeLocked()) return false;

    const Endpoint* const endpoint = endpointOfPort(port);
    if (endpoint == nullptr || !isParameterLocked(profile, id) || values.empty()) return false;

    for (const int each : parametersSetWith(id)) {
        Values copy = values;
        mAdapter->setProfileEndpointParameter(profile, *endpoint, each, copy);
    }
    return true;
}

SndManager::Values SndManager::getProfilePortParameter(int profile, int port, int id) {
    Mutex::Autolock lock(sLock);
    const Endpoint* const endpoint = endpointOfPort(port);
    if (endpoint == nullptr || !isParameterLocked(profile, id)) return {};
    return mAdapter->getProfileEndpointParameter(profile, *endpoint, id);
}

int SndManager::getZenithGameSystemGain() {
    Mutex::Autolock lock(sLock);
    if (mContext == nullptr) return 0;
    return SndContextManager::getInstance().getZenithGameSystemGain();
}

std::string SndManager::getDefaultXmlFormatVersion() {
    Mutex::Autolock lock(sLock);
    if (mContext == nullptr) return {};
    return SndContextManager::getInstance().getDefaultXmlFormatVersion();
}

int SndManager::reloadTuningXml() {
    {
        Mutex::Autolock lock(sLock);
        if (mContext == nullptr) return android::NO_INIT;
        ALOGI(kReloadMessage);
    }
    return SndContextManager::getInstance().loadOemTuning(sLock);
}

void SndManager::restoreCurrentProfiles() {
    Mutex::Autolock lock(sLock);
    if (mContext != nullptr) mContext->reloadAllProfile();
}

bool SndManager::save(SndContext::Part part) {
    SndContext::Save save;
    {
        Mutex::Autolock lock(sLock);
        if (mContext != nullptr) save = mContext->beginSave(part);
    }
    return save.wait();
}

bool SndManager::saveSndStateAndSettings() { return save(SndContext::Part::EVERYTHING); }

void SndManager::saveSndState() { (void)save(SndContext::Part::SWITCH); }

void SndManager::saveSndProfile() { (void)save(SndContext::Part::SELECTED_PROFILE); }

bool SndManager::saveSndProfileSettings() { return save(SndContext::Part::PROFILES); }

bool SndManager::isSaved() {
    Mutex::Autolock lock(sLock);
    return mContext == nullptr || mContext->isSaved();
}

}  // namespace velora
