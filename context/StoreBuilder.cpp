#define LOG_TAG "SndContextManager"

#include "context/StoreBuilder.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kNumOfTuningsMessage[] = "Num of parsed OEM tuning = %zu";
constexpr char kTuningDroppedMessage[] =
    "Found OEM tuning [%s] already exists in the default tuning XML, drop it.";
constexpr char kTuningAddedMessage[] = "Add OEM Tuning %s";
constexpr char kNumOfDevicesMessage[] = "Num of parsed OEM device tuning = %zu";
constexpr char kDeviceOfDroppedTuningMessage[] =
    "Drop OEM Device Tuning with tuning.name [%s] (duplicate in default xml)";
constexpr char kDeviceDroppedMessage[] =
    "Found OEM device ID [%s] already exists in the default tuning XML, drop it.";
constexpr char kDeviceAddedMessage[] =
    "Add OEM Device Tuning Port[%s] : Device[%s] with tuning.name [%s]";

/// The records in ascending order of their keys, so that the order of the rows does not depend on
/// the order of the file.
template <typename Record, typename Key>
std::vector<Record*> sorted(std::vector<Record*> records, Key key) {
    std::stable_sort(records.begin(), records.end(),
                     [&](const Record* a, const Record* b) { return key(*a) < key(*b); });
    return records;
}

}  // namespace

bool StoreBuilder::populate(const DeviceData& data) {
    Transaction transaction(*mProvider);
    mProvider->clear();
    mProvider->initDatabase();

    createRecords(data);
    selectDefaultDevices();
    mProvider->setDefaultXmlSignature(data.getSignature());
    mProvider->setDefaultXmlFormatVersion(data.getFormatVersion());
    mProvider->setZenithGameSystemGain(data.getZenithGameSystemGain());

    // A record that the store refuses costs only its row, but a store without profiles is useless.
    if (mProvider->init() != 0) return false;
    return transaction.commit();
}

void StoreBuilder::createRecords(const DeviceData& data) {
    const auto byPreset = [](const IeqPreset& preset) { return preset.getPresetId(); };
    const auto byProfile = [](const auto& record) { return record.getProfileId(); };
    const auto byEndpoint = [](const ProfileEndpoint& record) {
        return std::pair{record.getProfileId(), record.getEndpoint()};
    };
    for (auto* record : sorted(data.getIeqPresets(), byPreset)) mProvider->create(record);
    for (auto* record : sorted(data.getGeqPresets(), byProfile)) mProvider->create(record);
    for (auto* record : sorted(data.getProfiles(), byProfile)) mProvider->create(record);
    for (auto* record : sorted(data.getProfileEndpoints(), byEndpoint)) mProvider->create(record);

    // The order of the file decides which device of a port is the first.
    for (auto* record : data.getTunings()) mProvider->create(record, Provider::kDefaultName);
    for (auto* record : data.getDeviceTunings()) mProvider->create(record, Provider::kDefaultName);
}

void StoreBuilder::selectDefaultDevices() {
    for (const Port port : kSupportedPorts) {
        const std::string_view name = portInfo(port).name;
        mProvider->setDeviceTuning(name, std::string(kDefaultDevicePrefix).append(name));
    }
}

bool StoreBuilder::mergeOemTuning(const DeviceData& oem) {
    Transaction transaction(*mProvider);
    const auto defaults = mProvider->readFactoryNames();
    if (!defaults) return false;
    replaceOemTunings(oem, *defaults);
    replaceOemDevices(oem, *defaults);
    mProvider->setOemSignature(oem.getSignature());
    return transaction.commit();
}

void StoreBuilder::replaceOemTunings(const DeviceData& oem,
                                     const Provider::FactoryNames& defaults) {
    mProvider->clearOemTunings();
    ALOGI(kNumOfTuningsMessage, oem.getTunings().size());
    for (Tuning* const tuning : oem.getTunings()) {
        const std::string& name = tuning->getName();
        if (defaults.tunings.contains(name)) {
            ALOGI(kTuningDroppedMessage, name.c_str());
            continue;
        }

        ALOGI(kTuningAddedMessage, name.c_str());
        mProvider->create(tuning, Provider::kOemName);
    }
}

void StoreBuilder::replaceOemDevices(const DeviceData& oem,
                                     const Provider::FactoryNames& defaults) {
    mProvider->clearOemDeviceTunings();
    ALOGI(kNumOfDevicesMessage, oem.getDeviceTunings().size());
    for (DeviceTuning* const device : oem.getDeviceTunings()) {
        const std::string name = device->getDevice();
        const std::string tuning = device->getTuning();
        // Every device refers to a tuning of its own file, which in this case was dropped.
        if (defaults.tunings.contains(tuning)) {
            ALOGI(kDeviceOfDroppedTuningMessage, tuning.c_str());
            continue;
        }
        if (defaults.devices.contains(name)) {
            ALOGI(kDeviceDroppedMessage, name.c_str());
            continue;
        }

        ALOGI(kDeviceAddedMessage, device->getPort().c_str(), name.c_str(), tuning.c_str());
        mProvider->create(device, Provider::kOemName);
    }
}

}  // namespace velora
