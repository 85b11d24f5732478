#pragma once

#include "store/Provider.h"

#include <map>
#include <string>
#include <vector>

namespace velora {

/// The tuning device that is selected for each port, and the tuning of that device.
///
/// Owned by the sound context and used under its lock. The provider is not owned; it owns the
/// tunings, which remain valid as long as it exists, even after they were removed from the store.
class TuningSelection {
public:
    enum class Result {
        REFUSED,      ///< the device is not available or has no tuning; nothing changed
        SAME_TUNING,  ///< the device changed, but its tuning was already selected
        NEW_TUNING,
    };

    explicit TuningSelection(Provider* provider) : mProvider(provider) {}

    /// Reads the stored device of each supported port, and its tuning. A port that was loaded
    /// before keeps its device. A stored device that is no longer available is replaced by the
    /// port's default device.
    void load();
    /// Stores the device of each supported port, in the caller's transaction.
    void save() const;
    /// Reads the tuning of a port's device again. A device that is no longer available is replaced
    /// by the port's default device. Returns null, and keeps the tuning, if the device has none.
    Tuning* reload(Port port);

    /// Selects a device of the port. With `force` the result is never `SAME_TUNING`.
    [[nodiscard]] Result select(Port port, const std::string& device, bool force);

    /// Null if none is selected.
    Tuning* getTuning(Port port) const;
    /// Empty if none is selected.
    std::string getDevice(Port port) const;
    /// The devices of a port, in the order of the tuning files.
    std::vector<std::string> getAvailableDevices(Port port) const;
    /// The first available device whose name begins with `kDefaultDevicePrefix`, else the one named
    /// like the port, else the first, else the port's name.
    std::string getDefaultDevice(Port port) const;

    /// Whether the tuning of `port` is made for `endpoint`.
    bool isFor(Port port, Endpoint endpoint) const;
    /// Whether the tuning of any port is made for `endpoint`.
    bool isUsed(Endpoint endpoint) const;

private:
    struct Selection {
        std::string device;
        Tuning* tuning = nullptr;
    };

    bool isAvailable(Port port, const std::string& device) const;
    void replaceIfUnavailable(Port port, std::string& device) const;

    Provider* const mProvider;
    std::map<Port, Selection> mSelections;
};

}  // namespace velora
