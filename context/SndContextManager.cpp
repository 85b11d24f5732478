#define LOG_TAG "SndContextManager"

#include "context/SndContextManager.h"

#include "context/StoreBuilder.h"
#include "tuning/Signature.h"
#include "util/RootPrefix.h"

#include <memory>

#include <sys/stat.h>

#include <log/log.h>
#include <utils/Errors.h>

namespace velora {

using android::Mutex;

namespace {

constexpr std::string_view kOemXml = "kiv-extra.xml";  // in kDataDirectory

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kNoDefaultXmlMessage[] = "Default XML Tuning file doesn't exist!!";
constexpr char kOemLoadedMessage[] = "Load OEM tuning XML after default tuning XML is reloaded";
constexpr char kSignatureMessage[] = "%s(): XML file md5sum %s";
constexpr char kXmlUpdatedMessage[] = "Tuning XML file has been updated";
constexpr char kXmlErrorMessage[] = "XML parses error!!";
constexpr char kNoOemXmlMessage[] = "OEM Tuning XML doesn't exist!";
constexpr char kLoadingOemMessage[] = "Try to load OEM tuning XML file from %s";
constexpr char kOemErrorMessage[] = "OEM Tuning XML parses error!";
constexpr char kOemParsedMessage[] = "OEM tuning XML file completed deviceData = %p";
constexpr char kOemVersionMessage[] =
    "OEM tuning format V=%s is not consistent with current V=%s, abort loading OEM tuning XML.";
constexpr char kReloadingMessage[] = "Tell database to reload cached device tuning mappings.";

bool exists(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0;
}

}  // namespace

SndContextManager::SndContextManager() { init(); }

void SndContextManager::init() {
    Mutex::Autolock lock(mLock);
    if (mContext != nullptr) return;
    const std::string path = rooted(kTuningFile);
    if (!exists(path)) {
        ALOGE(kNoDefaultXmlMessage);
        return;
    }

    // An earlier attempt that failed may have left a provider.
    releaseLocked();
    mProvider = std::make_unique<Provider>();
    loadContextLocked(path);

    // A damaged store is renamed and rebuilt, once: whatever fails then is not the store's fault.
    if (mProvider->isDamaged()) {
        releaseLocked();
        mProvider = std::make_unique<Provider>();
        mProvider->replaceDamaged();
        loadContextLocked(path);
    }

    mParser.reset();
}

void SndContextManager::loadContextLocked(const std::string& path) {
    initDatabase(mProvider.get(), path);

    const ReadSession loading = mProvider->startReading();
    auto observable = std::make_unique<SndContextChangeObservable>();
    std::unique_ptr<SndContext> context;
    if (mProvider->init() == 0) {
        context = std::make_unique<SndContext>(mProvider.get(), observable.get());
        context->load();
    }
    const std::string formatVersion = mProvider->getDefaultXmlFormatVersion();
    const int zenithGameSystemGain = mProvider->getZenithGameSystemGain();

    // Never use a partly read context: saving it would make the missing values permanent.
    if (!loading.ok()) {
        ALOGE("The stored settings can't be read, they remain unchanged");
        return;
    }
    if (context == nullptr) return;

    mObservable = std::move(observable);
    mContext = std::move(context);
    mFormatVersion = formatVersion;
    mZenithGameSystemGain = zenithGameSystemGain;
}

int SndContextManager::initDatabase(Provider* provider, const std::string& path) {
    DeviceData* const data = loadXmlIfChanged(path, provider);
    if (data == nullptr) return 0;

    // Both files are stored in one transaction: after a crash in between, the new signature would
    // be stored, and the extra file would not be merged at the next start. A missing extra file is
    // no failure.
    data->validateData();
    Transaction transaction(*provider);
    if (!populateDatabase(data, provider)) return 0;
    loadOemTuningLocked();
    ALOGI(kOemLoadedMessage);
    (void)transaction.commit();  // a failure is logged; the settings remain unchanged then

    // The merge cached devices that are not stored if the transaction failed.
    provider->reloadCachedDeviceTunings();
    return 0;
}

DeviceData* SndContextManager::loadXmlIfChanged(const std::string& path, Provider* provider) {
    std::string signature;
    {
        const ReadSession session = provider->startReading();
        signature = getChangedSignature(path, provider);
        if (!session.ok()) {
            ALOGE("The stored settings can't be read, they remain unchanged");
            return nullptr;
        }
    }
    if (signature.empty()) return nullptr;
    ALOGD(kXmlUpdatedMessage);

    mParser = std::make_unique<TuningFileParser>();
    if (mParser->setTuningFile(path) != 0) {
        ALOGE(kXmlErrorMessage);
        return nullptr;
    }
    mParser->parseTuningFile();
    DeviceData* const data = mParser->getDeviceData();

    // Contents stored with another file's signature would never be replaced by that file's.
    if (getSignature(path) != signature) {
        ALOGE("The tuning file changed while it was read, it is not used");
        return nullptr;
    }
    if (data->getProfiles().empty()) {
        ALOGE("The tuning file has no profile, it is not used");
        return nullptr;
    }
    data->setSignature(signature);
    return data;
}

std::string SndContextManager::getChangedSignature(const std::string& path, Provider* provider) {
    std::string signature = getSignature(path);
    // A store that is not complete is treated like one of another version.
    if (provider->isEmpty() || !provider->isComplete()) return signature;
    if (signature != provider->getDefaultXmlSignature()) return signature;
    return provider->isDatabaseVersionChanged() ? signature : std::string();
}

std::string SndContextManager::getSignature(const std::string& path) {
    std::string signature = fileSignature(path);
    if (!signature.empty()) ALOGD(kSignatureMessage, __func__, signature.c_str());
    return signature;
}

bool SndContextManager::populateDatabase(DeviceData* data, Provider* provider) {
    if (StoreBuilder(provider).populate(*data)) return true;
    ALOGE("The tuning file can't be stored, the settings remain unchanged");
    return false;
}

int SndContextManager::loadOemTuning() {
    Mutex::Autolock lock(mLock);
    if (mContext == nullptr) return android::NO_INIT;
    const int result = loadOemTuningLocked();
    if (result == 0) mContext->reloadTuning();
    return result;
}

int SndContextManager::loadOemTuningLocked() {
    const std::string path = rooted(std::string(kDataDirectory).append(kOemXml));
    if (!exists(path)) {
        ALOGI(kNoOemXmlMessage);
        return android::NAME_NOT_FOUND;
    }

    ALOGD(kLoadingOemMessage, path.c_str());
    TuningFileParser oemParser;
    if (oemParser.setTuningFile(path) != 0) {
        ALOGE(kOemErrorMessage);
        return android::BAD_VALUE;
    }
    oemParser.parseTuningFile();
    const DeviceData* const oem = oemParser.getDeviceData();
    ALOGI(kOemParsedMessage, static_cast<const void*>(oem));

    const std::string currentVersion = mProvider->getDefaultXmlFormatVersion();
    if (oem->getFormatVersion() != currentVersion) {
        ALOGE(kOemVersionMessage, oem->getFormatVersion().c_str(), currentVersion.c_str());
        return android::BAD_VALUE;
    }
    return mergeOemTuningLocked(*oem);
}

// The default file is parsed again for the names that it defines.
int SndContextManager::mergeOemTuningLocked(const DeviceData& oem) {
    const std::string path = rooted(kTuningFile);
    TuningFileParser defaultParser;
    // The names must be those of the stored records, so a file that changed since is of no use.
    if (getSignature(path) != mProvider->getDefaultXmlSignature() ||
        defaultParser.setTuningFile(path) != 0) {
        ALOGE("The default tuning XML is not the stored one, abort loading OEM tuning XML.");
        return android::BAD_VALUE;
    }
    defaultParser.parseTuningFile();

    StoreBuilder builder(mProvider.get());
    if (!builder.mergeOemTuning(oem, *defaultParser.getDeviceData())) {
        return android::INVALID_OPERATION;
    }

    ALOGI(kReloadingMessage);
    const ReadSession reloading = mProvider->startReading();
    mProvider->reloadCachedDeviceTunings();
    return reloading.ok() ? 0 : android::INVALID_OPERATION;
}

SndContext* SndContextManager::getSndContext() const {
    Mutex::Autolock lock(mLock);
    return mContext.get();
}

std::string SndContextManager::getDefaultXmlFormatVersion() const {
    Mutex::Autolock lock(mLock);
    return mFormatVersion;
}

int SndContextManager::getZenithGameSystemGain() const {
    Mutex::Autolock lock(mLock);
    return mZenithGameSystemGain;
}

void SndContextManager::releaseLocked() {
    mContext.reset();
    mObservable.reset();
    mParser.reset();
    mProvider.reset();
    mFormatVersion.clear();
    mZenithGameSystemGain = 0;
}

void SndContextManager::release() {
    Mutex::Autolock lock(mLock);
    releaseLocked();
}

}  // namespace velora

ANDROID_SINGLETON_STATIC_INSTANCE(velora::SndContextManager)
