#pragma once

#include "store/Provider.h"

#include <map>
#include <string>
#include <vector>

namespace velora {

/// The tuning device that is selected for each port, and the tuning in use there: that of the
/// device, unless the device had no tuning when it was read again. docs/architecture.md explains
/// port, tuning device and tuning.
///
/// Owned by SndContext and used under its lock. Does not own the provider, which must outlive it.
/// The provider owns the tunings: each remains valid until the provider is destroyed, even if the
/// tuning has been removed from the store. Failures of the store are logged there.
class TuningSelection {
public:
    enum class Result {
        REFUSED,      ///< the port has no such device, or it has no tuning; nothing changed
        SAME_TUNING,  ///< the device is selected, but its tuning was in use already
        NEW_TUNING,   ///< the device is selected, and its tuning must be applied
    };

    explicit TuningSelection(Provider* provider) : mProvider(provider) {}

    /// Reads the stored device of each supported port, and the device's tuning. On a later call, a
    /// port keeps its device and its tuning. A stored device that the port doesn't have is replaced
    /// by the port's default device; the store remains unchanged until `save`.
    void load();
    /// Adds the devices that must be stored to `settings`, which will be.
    void takeChanges(UserSettings* settings);
    /// Reads the tuning of a port's device again, and returns it. A device that the port no longer
    /// has is replaced by the port's default device. If the device has no tuning, returns null, and
    /// the tuning that was in use before remains in use.
    Tuning* reload(Port port);

    /// Selects a device of the port. With `force`, the result is NEW_TUNING even if the tuning is
    /// unchanged, so that the caller applies it again.
    [[nodiscard]] Result select(Port port, const std::string& device, bool force);

    /// The port's tuning in use, or null if there is none.
    Tuning* getTuning(Port port) const;
    /// The name of the port's selected device, or an empty text if there is none.
    std::string getDevice(Port port) const;
    /// The names of the port's devices, in the order in which the tuning files list them.
    std::vector<std::string> getAvailableDevices(Port port) const;
    /// The first available device whose name begins with `kDefaultDevicePrefix`; otherwise the one
    /// with the same name as the port; otherwise the first. If the port has no device, the port's
    /// name, which no device then has.
    std::string getDefaultDevice(Port port) const;

    /// Whether the tuning of `port` is made for `endpoint`.
    bool isFor(Port port, Endpoint endpoint) const;
    /// Whether the tuning of any port is made for `endpoint`.
    bool isUsed(Endpoint endpoint) const;

private:
    struct Selection {
        std::string device;
        std::string stored;  ///< the device that the store has, or will have
        Tuning* tuning = nullptr;
    };

    bool isAvailable(Port port, const std::string& device) const;
    void replaceIfUnavailable(Port port, std::string& device) const;

    Provider* const mProvider;
    std::map<Port, Selection> mSelections;
};

}  // namespace velora
