#pragma once

#include "store/Provider.h"

#include <memory>

namespace velora {

/// The settings of one profile: its records as the user changed them, and the factory copy of them,
/// which the tuning file defines.
///
/// Owned by the sound context and used under its lock. The records are owned by the provider.
/// `load` or `useLoaded` must be called before anything else. If a record is missing, the store is
/// corrupt: that is logged, and the process exits.
class ProfileContext {
public:
    ProfileContext(Provider* provider, int id) : mProvider(provider), mId(id) {}

    int getId() const { return mId; }

    /// Reads the user's copy; the factory copy only the first time.
    void load();
    /// Uses the records of both copies as `Provider::loadAll` has filled them.
    void useLoaded();
    /// Copies the records that must be stored to `settings`, which will be. No record is dirty
    /// then.
    void takeChanges(UserSettings* settings);
    /// Restores the factory copy of all records, or of the GEQ preset. Nothing is stored.
    void restoreDefaults();
    void restoreDefaultGeq();

    // Part of the vendor's contract, without a caller here. These write to the store themselves,
    // in one transaction; what fails is stored by the next save.
    void save();
    void reset();
    void resetGeq();

    Profile* getProfile() const { return mProfile; }
    ProfileEndpoint* getProfileEndpoint(Endpoint endpoint) const;
    GeqPreset* getSelectedGeqPreset() const { return mGeqPreset; }
    /// The preset in force on an endpoint: preset 0 while its IEQ is off.
    IeqPreset* getSelectedIeqPreset(Endpoint endpoint) const;

    /// Whether anything differs from the factory copy.
    bool isModified() const;
    bool isGeqModified() const;
    /// Whether a parameter of the profile or of an endpoint differs; the GEQ preset and the
    /// selected IEQ presets are not compared.
    bool isProfileSpecificSettingsModified() const;

private:
    /// The factory copy.
    struct Defaults {
        Defaults(Provider* provider, int id);
        explicit Defaults(const Provider::Records& records);

        Profile* profile;
        Provider::Endpoints endpoints;
        GeqPreset* geqPreset;
    };

    Provider* const mProvider;
    const int mId;
    Profile* mProfile = nullptr;
    Provider::Endpoints mEndpoints{};
    GeqPreset* mGeqPreset = nullptr;
    std::unique_ptr<const Defaults> mDefaults;
};

}  // namespace velora
