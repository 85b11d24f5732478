#define LOG_TAG "SndContextManager"

#include "context/SndContextManager.h"

#include "context/StoreBuilder.h"
#include "tuning/Signature.h"
#include "util/RootPrefix.h"

#include <memory>
#include <utility>

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

std::string oemPath() { return rooted(std::string(kDataDirectory).append(kOemXml)); }

bool exists(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0;
}

/// The records of the extra file, owned by `parser`, with its signature, which is empty if the file
/// changed while it was read. Null if it can't be used with a default file of this version.
const DeviceData* parseOem(const std::string& path, const std::string& currentVersion,
                           TuningFileParser& parser) {
    ALOGD(kLoadingOemMessage, path.c_str());
    const std::string signature = fileSignature(path);
    // Perhaps only a read has failed: nothing merges the file again until somebody asks for it.
    if (parser.setTuningFile(path) != 0 && parser.setTuningFile(path) != 0) {
        ALOGE(kOemErrorMessage);
        return nullptr;
    }
    parser.parseTuningFile();
    DeviceData* const oem = parser.getDeviceData();
    ALOGI(kOemParsedMessage, static_cast<const void*>(oem));
    if (fileSignature(path) == signature) oem->setSignature(signature);

    if (oem->getFormatVersion() == currentVersion) return oem;
    ALOGE(kOemVersionMessage, oem->getFormatVersion().c_str(), currentVersion.c_str());
    return nullptr;
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

    openStoreLocked();
    loadContextLocked(path);

    // Perhaps only a read has failed, so the store is opened and read once more.
    if (mProvider->isDamaged()) {
        openStoreLocked();
        loadContextLocked(path);
    }
    if (mProvider->isDamaged()) rebuildLocked(path);

    if (mContext != nullptr) mContext->prepareSaving();
    mParser.reset();
}

/// What an earlier attempt has left is released.
void SndContextManager::openStoreLocked() {
    releaseLocked();
    mProvider = std::make_unique<Provider>();
}

void SndContextManager::rebuildLocked(const std::string& path) {
    openStoreLocked();
    if (parse(path) == nullptr) {
        ALOGE("The damaged store remains unchanged until there is a tuning file to rebuild it");
        return;
    }

    // Whatever fails now is not the store's fault.
    mSalvaged = mProvider->replaceDamaged();
    loadContextLocked(path);
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
    const std::string oemSignature = mProvider->getOemSignature();

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
    mOemSignature = oemSignature;
}

int SndContextManager::initDatabase(Provider* provider, const std::string& path) {
    DeviceData* const data = loadXmlIfChanged(path, provider);
    if (data == nullptr) return 0;

    if (!provider->isEmpty() && !provider->isComplete()) {
        ALOGW("The store's tables are not those of this release, it is rebuilt with its settings");
        mSalvaged = provider->salvage();
    }

    // Both files are stored in one transaction: after a crash in between, the new signature would
    // be stored, and the extra file would not be merged at the next start. A missing extra file is
    // no failure.
    data->validateData();
    Transaction transaction(*provider);
    if (!populateDatabase(data, provider)) return 0;
    if (!restoreSalvaged(*data, provider)) return 0;
    loadOemTuningLocked();
    ALOGI(kOemLoadedMessage);
    (void)transaction.commit();  // a failure is logged; the settings remain unchanged then

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
    // The damage may be in what the file is compared with.
    if (signature.empty() || provider->isDamaged()) return nullptr;
    ALOGD(kXmlUpdatedMessage);

    DeviceData* const data = parse(path);
    if (data == nullptr) return nullptr;

    // Contents stored with another file's signature would never be replaced by that file's.
    if (getSignature(path) != signature) {
        ALOGE("The tuning file changed while it was read, it is not used");
        return nullptr;
    }
    data->setSignature(signature);
    return data;
}

DeviceData* SndContextManager::parse(const std::string& path) {
    mParser = std::make_unique<TuningFileParser>();
    if (mParser->setTuningFile(path) != 0) {
        ALOGE(kXmlErrorMessage);
        return nullptr;
    }
    mParser->parseTuningFile();
    DeviceData* const data = mParser->getDeviceData();
    if (!data->getProfiles().empty()) return data;
    ALOGE("The tuning file has no profile, it is not used");
    return nullptr;
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

bool SndContextManager::restoreSalvaged(const DeviceData& data, Provider* provider) {
    // A changed tuning file replaces the user's settings, damaged or not.
    const bool isSameFile =
        mSalvaged.signature.empty() || mSalvaged.signature == data.getSignature();
    UserSettings salvaged = std::exchange(mSalvaged, {});
    if (salvaged.empty() || !isSameFile) return true;

    salvaged.limitTo(provider->getNumOfProfiles());
    provider->completeSettings(salvaged);
    return provider->storeSettings(salvaged);
}

int SndContextManager::loadOemTuning() {
    Mutex nobodyElse;
    return loadOemTuning(nobodyElse);
}

int SndContextManager::loadOemTuning(Mutex& callersLock) {
    Mutex::Autolock reloading(mReloadLock);
    SndContext* const context = getSndContext();
    if (context == nullptr) return android::NO_INIT;
    const std::string path = oemPath();
    if (!exists(path)) {
        ALOGI(kNoOemXmlMessage);
        return android::NAME_NOT_FOUND;
    }

    const std::string signature = fileSignature(path);
    const bool isChanged = signature.empty() || signature != getOemSignature();
    Provider::Tunings tunings;
    if (isChanged) {
        const int result = mergeChangedOem(path, &tunings);
        if (result != 0) return result;
    }

    Mutex::Autolock lock(callersLock);
    if (isChanged) context->useTunings(std::move(tunings));
    context->reloadTuning();
    return 0;
}

int SndContextManager::mergeChangedOem(const std::string& path, Provider::Tunings* tunings) {
    // The file is parsed before any lock is taken that a query or a save could wait for.
    TuningFileParser parser;
    const DeviceData* const oem = parseOem(path, getDefaultXmlFormatVersion(), parser);
    if (oem == nullptr) return android::BAD_VALUE;

    Provider* const provider = getProvider();
    setOemSignature({});  // until everything has succeeded
    if (!StoreBuilder(provider).mergeOemTuning(*oem)) return android::INVALID_OPERATION;

    ALOGI(kReloadingMessage);
    {
        // No other lock may be acquired while the database's is held.
        const ReadSession reading = provider->startReading();
        *tunings = provider->readTunings();
        if (!reading.ok()) return android::INVALID_OPERATION;
    }
    setOemSignature(oem->getSignature());
    return 0;
}

// At start-up, in the transaction that fills the store from the default file.
int SndContextManager::loadOemTuningLocked() {
    const std::string path = oemPath();
    if (!exists(path)) {
        ALOGI(kNoOemXmlMessage);
        return android::NAME_NOT_FOUND;
    }

    TuningFileParser parser;
    const DeviceData* const oem = parseOem(path, mProvider->getDefaultXmlFormatVersion(), parser);
    if (oem == nullptr) return android::BAD_VALUE;
    if (!StoreBuilder(mProvider.get()).mergeOemTuning(*oem)) return android::INVALID_OPERATION;

    ALOGI(kReloadingMessage);
    return 0;
}

Provider* SndContextManager::getProvider() const {
    Mutex::Autolock lock(mLock);
    return mProvider.get();
}

std::string SndContextManager::getOemSignature() const {
    Mutex::Autolock lock(mLock);
    return mOemSignature;
}

void SndContextManager::setOemSignature(const std::string& signature) {
    Mutex::Autolock lock(mLock);
    mOemSignature = signature;
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
    mSalvaged = {};
    mFormatVersion.clear();
    mZenithGameSystemGain = 0;
    mOemSignature.clear();
}

void SndContextManager::release() {
    Mutex::Autolock reloading(mReloadLock);
    Mutex::Autolock lock(mLock);
    releaseLocked();
}

}  // namespace velora

ANDROID_SINGLETON_STATIC_INSTANCE(velora::SndContextManager)
