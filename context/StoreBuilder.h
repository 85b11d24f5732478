#pragma once

#include "model/DeviceData.h"
#include "store/Provider.h"

namespace velora {

/// Writes what the tuning files contain into the store.
///
/// Made by the context manager for one call. At the start nobody else uses the provider; later the
/// manager holds the lock of the StoreWriter. The provider is not owned, nor are the records, which
/// get the ids of their rows. Each operation is one transaction, inside the
/// caller's if there is one: after a failure, which is logged, the store is as it was before.
class StoreBuilder {
public:
    explicit StoreBuilder(Provider* provider) : mProvider(provider) {}

    /// Replaces everything that is stored by the default tuning file. False on failure, also if
    /// none of its profiles can be stored.
    [[nodiscard]] bool populate(const DeviceData& data);

    /// Replaces the tunings and devices that came from the maker's extra tuning file (OEM) by those
    /// of `oem`, and stores the signature of its file. What has a name that the default tuning file
    /// defines is left out.
    [[nodiscard]] bool mergeOemTuning(const DeviceData& oem);

private:
    void createRecords(const DeviceData& data);
    void selectDefaultDevices();
    void replaceOemTunings(const DeviceData& oem, const Provider::FactoryNames& defaults);
    void replaceOemDevices(const DeviceData& oem, const Provider::FactoryNames& defaults);

    Provider* const mProvider;
};

}  // namespace velora
