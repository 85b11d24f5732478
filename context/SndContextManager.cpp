#define LOG_TAG "SndContextManager"

#include "context/SndContextManager.h"

#include "tuning/Signature.h"
#include "util/RootPrefix.h"

#include <algorithm>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include <log/log.h>
#include <utils/Errors.h>

namespace velora {

using android::Mutex;

namespace {

constexpr std::string_view kDefaultXml = "/odm/etc/velora/multimedia_velora_kiv_default.xml";
constexpr std::string_view kOemXml = "/data/vendor/velora/kiv-extra.xml";
constexpr std::string_view kDefaultDevicePrefix = "default_";

bool exists(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0;
}

/// The records by ascending number, so that their rows are in the same order whatever the file's.
template <typename Record, typename NumberOf>
std::vector<Record*> sorted(std::vector<Record*> records, NumberOf numberOf) {
    std::stable_sort(records.begin(), records.end(),
                     [&](const Record* a, const Record* b) { return numberOf(*a) < numberOf(*b); });
    return records;
}

template <typename Record, typename NameOf>
std::set<std::string> namesOf(const std::vector<Record*>& records, NameOf nameOf) {
    std::set<std::string> names;
    for (const Record* record : records) names.insert((record->*nameOf)());
    return names;
}

}  // namespace

SndContextManager::SndContextManager() { init(); }

void SndContextManager::init() {
    Mutex::Autolock lock(mLock);
    if (mContext != nullptr) return;
    const std::string path = rooted(kDefaultXml);
    if (!exists(path)) {
        ALOGE("Default XML Tuning file doesn't exist!!");
        return;
    }
    releaseLocked();
    mProvider = std::make_unique<Provider>();
    loadContextLocked(path);
    if (mProvider->isDamaged()) {
        releaseLocked();
        mProvider = std::make_unique<Provider>();
        mProvider->replaceDamaged();
        loadContextLocked(path);
    }
    mParser.reset();
}

// A context of which something couldn't be read isn't used: saving it would make the gap lasting.
void SndContextManager::loadContextLocked(const std::string& path) {
    if (initDatabase(mProvider.get(), path) != 0) return;
    const size_t failedBefore = mProvider->failedReads();
    mProvider->beginReading();
    if (mProvider->init() == 0) {
        mFormatVersion = mProvider->getDefaultXmlFormatVersion();
        mZenithGameSystemGain = mProvider->getZenithGameSystemGain();
        mObservable = std::make_unique<SndContextChangeObservable>();
        mContext = std::make_unique<SndContext>(mProvider.get(), mObservable.get());
        mContext->load();
    }
    mProvider->commitTransaction();
    if (mProvider->failedReads() == failedBefore) return;
    ALOGE("The stored settings couldn't be read, they stay as they are");
    mContext.reset();
    mObservable.reset();
}

// One transaction: with the new signature stored, nobody would merge the extra file later.
int SndContextManager::initDatabase(Provider* provider, const std::string& path) {
    DeviceData* const data = loadXmlIfChanged(path, provider);
    if (provider->failedReads() > 0) {
        ALOGE("The stored settings couldn't be read, they stay as they are");
        return android::INVALID_OPERATION;
    }
    if (data == nullptr) return 0;
    data->validateData();
    provider->beginTransaction();
    populateDatabase(data, provider);
    loadOemTuningLocked();
    ALOGI("Load OEM tuning XML after default tuning XML is reloaded");
    provider->commitTransaction();
    provider->reloadCachedDeviceTunings();
    return 0;
}

DeviceData* SndContextManager::loadXmlIfChanged(const std::string& path, Provider* provider) {
    const std::string signature = getChangedSignature(path, provider);
    if (signature.empty() || provider->failedReads() > 0) return nullptr;
    ALOGD("Tuning XML file has been updated");
    mParser = std::make_unique<TuningFileParser>();
    if (mParser->setTuningFile(path) != 0) {
        ALOGE("XML parses error!!");
        return nullptr;
    }
    mParser->parseTuningFile();
    DeviceData* const data = mParser->getDeviceData();
    if (data->getProfiles().empty()) {
        ALOGE("The tuning file has no profile, it is not used");
        return nullptr;
    }
    if (getSignature(path) != signature) {
        ALOGE("The tuning file changed while it was read, it is not used");
        return nullptr;
    }
    data->setSignature(signature);
    return data;
}

std::string SndContextManager::getChangedSignature(const std::string& path, Provider* provider) {
    std::string signature = getSignature(path);
    if (provider->isEmpty() || !provider->isComplete()) return signature;
    if (signature != provider->getDefaultXmlSignature()) return signature;
    return provider->isDatabaseVersionChanged() ? signature : std::string();
}

std::string SndContextManager::getSignature(const std::string& path) {
    std::string signature = fileSignature(path);
    if (!signature.empty()) ALOGD("%s(): XML file md5sum %s", __func__, signature.c_str());
    return signature;
}

void SndContextManager::populateDatabase(DeviceData* data, Provider* provider) {
    provider->beginTransaction();
    provider->clear();
    provider->initDatabase();
    const auto byPreset = [](const IeqPreset& p) { return p.getPresetId(); };
    const auto byProfile = [](const auto& record) { return record.getProfileId(); };
    const auto byEndpoint = [](const ProfileEndpoint& e) {
        return std::pair{e.getProfileId(), e.getEndpoint()};
    };
    for (auto* record : sorted(data->getIeqPresets(), byPreset)) provider->create(record);
    for (auto* record : sorted(data->getGeqPresets(), byProfile)) provider->create(record);
    for (auto* record : sorted(data->getProfiles(), byProfile)) provider->create(record);
    for (auto* record : sorted(data->getProfileEndpoints(), byEndpoint)) provider->create(record);
    for (auto* record : data->getTunings()) provider->create(record, Provider::kDefaultName);
    for (auto* record : data->getDeviceTunings()) provider->create(record, Provider::kDefaultName);
    for (const Port port : SndContext::kSupportedPorts) {
        const std::string_view name = portInfo(port).name;
        provider->setDeviceTuning(name, std::string(kDefaultDevicePrefix).append(name));
    }
    provider->setDefaultXmlSignature(data->getSignature());
    provider->setDefaultXmlFormatVersion(data->getFormatVersion());
    provider->setZenithGameSystemGain(data->getZenithGameSystemGain());
    if (provider->init() != 0) provider->abortTransaction();
    provider->commitTransaction();
}

int SndContextManager::loadOemTuning() {
    Mutex::Autolock lock(mLock);
    if (mContext == nullptr) return android::NO_INIT;
    const int result = loadOemTuningLocked();
    if (result == 0) mContext->reloadTuning();
    return result;
}

int SndContextManager::loadOemTuningLocked() {
    const std::string path = rooted(kOemXml);
    if (!exists(path)) {
        ALOGI("OEM Tuning XML doesn't exist!");
        return android::NAME_NOT_FOUND;
    }
    ALOGD("Try to load OEM tuning XML file from %s", path.c_str());
    TuningFileParser oemParser;
    if (oemParser.setTuningFile(path) != 0) {
        ALOGE("OEM Tuning XML parses error!");
        return android::BAD_VALUE;
    }
    oemParser.parseTuningFile();
    const DeviceData* const oem = oemParser.getDeviceData();
    ALOGI("OEM tuning XML file completed deviceData = %p", static_cast<const void*>(oem));
    const std::string current = mProvider->getDefaultXmlFormatVersion();
    if (oem->getFormatVersion() != current) {
        ALOGE(
            "OEM tuning format V=%s is not consistent with current V=%s, abort loading OEM tuning "
            "XML.",
            oem->getFormatVersion().c_str(), current.c_str());
        return android::BAD_VALUE;
    }
    // The names that the default file defines already, which must be those that are stored.
    const std::string defaultPath = rooted(kDefaultXml);
    TuningFileParser defaultParser;
    if (getSignature(defaultPath) != mProvider->getDefaultXmlSignature() ||
        defaultParser.setTuningFile(defaultPath) != 0) {
        ALOGE("The default tuning XML is not the one in force, abort loading OEM tuning XML.");
        return android::BAD_VALUE;
    }
    defaultParser.parseTuningFile();
    if (!mergeOemTuning(*oem, *defaultParser.getDeviceData(), mProvider.get())) {
        return android::INVALID_OPERATION;
    }
    ALOGI("Tell database to reload cached device tuning mappings.");
    const size_t failedBefore = mProvider->failedReads();
    mProvider->reloadCachedDeviceTunings();
    return mProvider->failedReads() == failedBefore ? 0 : android::INVALID_OPERATION;
}

bool SndContextManager::mergeOemTuning(const DeviceData& oem, const DeviceData& defaults,
                                       Provider* provider) {
    const auto defaultTunings = namesOf(defaults.getTunings(), &Tuning::getName);
    const auto defaultDevices = namesOf(defaults.getDeviceTunings(), &DeviceTuning::getDevice);
    std::set<std::string> dropped;

    provider->beginTransaction();
    provider->clearOemTunings();
    ALOGI("Num of parsed OEM tuning = %zu", oem.getTunings().size());
    for (Tuning* const tuning : oem.getTunings()) {
        const std::string& name = tuning->getName();
        if (defaultTunings.contains(name)) {
            ALOGI("Found OEM tuning [%s] already exists in the default tuning XML, drop it.",
                  name.c_str());
            dropped.insert(name);
            continue;
        }
        ALOGI("Add OEM Tuning %s", name.c_str());
        provider->create(tuning, Provider::kOemName);
    }
    provider->clearOemDeviceTunings();
    ALOGI("Num of parsed OEM device tuning = %zu", oem.getDeviceTunings().size());
    for (DeviceTuning* const device : oem.getDeviceTunings()) {
        const std::string name = device->getDevice();
        const std::string tuning = device->getTuning();
        if (dropped.contains(tuning)) {
            ALOGI("Drop OEM Device Tuning with tuning.name [%s] (duplicate in default xml)",
                  tuning.c_str());
            continue;
        }
        if (defaultDevices.contains(name)) {
            ALOGI("Found OEM device ID [%s] already exists in the default tuning XML, drop it.",
                  name.c_str());
            continue;
        }
        ALOGI("Add OEM Device Tuning Port[%s] : Device[%s] with tuning.name [%s]",
              device->getPort().c_str(), name.c_str(), tuning.c_str());
        provider->create(device, Provider::kOemName);
    }
    return provider->commitTransaction();
}

SndContext* SndContextManager::getSndContext() {
    Mutex::Autolock lock(mLock);
    return mContext.get();
}

std::string SndContextManager::getDefaultXmlFormatVersion() {
    Mutex::Autolock lock(mLock);
    return mFormatVersion;
}

int SndContextManager::getZenithGameSystemGain() {
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
