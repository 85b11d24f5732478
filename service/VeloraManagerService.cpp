#define LOG_TAG "VeloraManagerService"

#include "service/VeloraManagerService.h"

#include "service/ClientRegistry.h"
#include "service/EventHandler.h"
#include "service/NotificationClient.h"
#include "service/Protocol.h"

#include <log/log.h>
#include <utils/Errors.h>

// The life of the service, its clients, and the requests that change something. What it answers is
// in ServiceQueries.cpp.

namespace android {

using velora::SfxParamStore;

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kLifecycleMessage[] = "%s ";
constexpr char kRegisterEntryMessage[] = "%s(type = %d, uid = %u valid listener = %s ) entry";
constexpr char kUnregisterEntryMessage[] = "%s(type = %d, uid = %u) entry";
constexpr char kRegistrationExitMessage[] = "%s(type = %d, uid = %u) exit";
constexpr char kUnknownClientMessage[] =
    "unregisterClient() uid 0x%x does not exist in Velora Server";
constexpr char kDeathEntryMessage[] = "%s(uid = %u) entry";
constexpr char kDeathExitMessage[] = "%s(uid = %u) exit";
constexpr char kUpdateEntryMessage[] = "%s() entry";
constexpr char kUpdateExitMessage[] = "%s() exit";
constexpr char kReloadMessage[] =
    "Notify clients that SFX params changed after reload tuning file.";

uint32_t clientKey(int32_t type, uint32_t uid) { return uid + static_cast<uint32_t>(type); }

/// True if there are at most kMaxRequestSize bytes at `data`, which may be null for none.
bool isValidBuffer(const void* data, uint32_t size) {
    return size <= VeloraManagerService::kMaxRequestSize && (data != nullptr || size == 0);
}

}  // namespace

VeloraManagerService::VeloraManagerService() : mRegistry(std::make_unique<ClientRegistry>()) {}

void VeloraManagerService::onFirstRef() {
    ALOGI(kLifecycleMessage, __func__);
    mManager = std::make_unique<velora::SndManager>();
    mHandler = sp<EventHandler>::make(mManager.get(), this);
    mHandler->start();
}

VeloraManagerService::~VeloraManagerService() {
    ALOGI(kLifecycleMessage, "~VeloraManagerService");
    (void)shutdown();  // a failure is logged
}

void VeloraManagerService::initManager() {
    if (mInitialized) return;
    Mutex::Autolock lock(mLifecycleLock);
    if (!mEnded && mManager->init() == OK) mInitialized = true;
}

bool VeloraManagerService::saveSettings() {
    if (!mInitialized) return true;

    const bool saved = mManager->saveSndStateAndSettings();
    if (!saved) ALOGE("%s the settings couldn't be stored", __func__);
    return saved;
}

bool VeloraManagerService::shutdown() {
    Mutex::Autolock lock(mLifecycleLock);
    if (!mEnded) {
        mEnded = true;
        if (mHandler) mHandler->stop();  // null if nobody ever held the service

        // After the looper, so that the request it was handling is saved, too.
        mSavedAtEnd = saveSettings();
    }
    return mSavedAtEnd;
}

void VeloraManagerService::registerClient(const sp<IKmsCallbacks>& listener, int32_t type,
                                          uint32_t uid) {
    initManager();
    ALOGD(kRegisterEntryMessage, __func__, type, uid, listener ? "yes" : "no");
    const uint32_t key = clientKey(type, uid);
    mRegistry->add(sp<NotificationClient>::make(this, listener, type, key));
    postRegistrationNotice();
    ALOGD(kRegistrationExitMessage, __func__, type, uid);
}

void VeloraManagerService::unregisterClient(const sp<IKmsCallbacks>& /*listener*/, int32_t type,
                                            uint32_t uid) {
    ALOGD(kUnregisterEntryMessage, __func__, type, uid);
    const uint32_t key = clientKey(type, uid);
    const sp<NotificationClient> client = mRegistry->remove(key);
    if (!client) {
        ALOGE(kUnknownClientMessage, key);
        return;
    }

    // If saving fails, that is logged, and the client is unregistered all the same.
    if (ClientRegistry::isPlain(client->type())) mHandler->saveAfterQueued();
    postRegistrationNotice();
    ALOGD(kRegistrationExitMessage, __func__, type, uid);
}

void VeloraManagerService::postRegistrationNotice() {
    // It can't be queued after `shutdown`, when nobody is notified any more.
    (void)mHandler->sendMessage(velora::kRegistrationNotice, sizeof velora::kRegistrationNotice,
                                EventHandler::REGISTRATION_CHANGED);
}

void VeloraManagerService::removeNotificationClient(uint32_t key, const NotificationClient& died) {
    ALOGD(kDeathEntryMessage, __func__, key);
    mRegistry->removeDead(died);
    ALOGD(kDeathExitMessage, __func__, key);
}

void VeloraManagerService::doOnSfxParamUpdate(void* data, uint32_t size) {
    ALOGV(kUpdateEntryMessage, __func__);
    const sp<VeloraManagerService> self(this);  // a client may release the last reference
    mRegistry->notifyAll(data, size);
    ALOGV(kUpdateExitMessage, __func__);
}

int VeloraManagerService::setParam(audio_devices_t device, velora::SfxParameterId id,
                                   const int32_t* values, uint32_t count) {
    return SfxParamStore::getInstance().setParam(device, id, values, count);
}

int VeloraManagerService::commitChange() { return SfxParamStore::getInstance().commitChange(); }

int VeloraManagerService::getStoredParams(SfxParamStore::Caches* out, bool committed, int* count) {
    return SfxParamStore::getInstance().getStoredParams(out, committed, count);
}

int VeloraManagerService::setSfxParam(void* data, uint32_t size) {
    if (!mInitialized) return NO_INIT;
    if (!isValidBuffer(data, size)) return BAD_VALUE;
    return mHandler->sendMessage(data, size, EventHandler::SET_PARAM);
}

void VeloraManagerService::setSelectedTuningDevice(int port, void* name, int len) {
    if (!checkInitialized(__func__) || !checkPort(__func__, port)) return;
    const auto size = static_cast<uint32_t>(len);  // a negative length is far too long
    if (!isValidBuffer(name, size)) {
        ALOGE("%s: invalid device name of length %d", __func__, len);
        return;
    }

    const status_t result =
        mHandler->sendMessage(name, size, port, EventHandler::SET_SELECTED_TUNING);
    if (result != OK) ALOGE("%s: the request can't be queued, error %d", __func__, result);
}

/// True if the clients must be notified.
bool VeloraManagerService::reloadTuning() {
    const uint64_t request = ++mReloadsRequested;
    Mutex::Autolock lock(mLifecycleLock);
    if (mEnded) return false;

    // A reload that began after this request has answered it as well.
    if (request <= mReloadsAnswered) return false;
    mReloadsAnswered = mReloadsRequested;

    ALOGD(kReloadMessage);
    return mManager->reloadTuningXml() == OK;
}

void VeloraManagerService::setIntParam(uint32_t key, int64_t /*value*/) {
    // The clients are notified without the lock, since one may release the service.
    if (key == velora::key::kReload && reloadTuning()) doOnSfxParamUpdate(nullptr, 0);
}

}  // namespace android
