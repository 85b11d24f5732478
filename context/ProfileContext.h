#pragma once

#include "store/Provider.h"

#include <memory>

namespace velora {

/// The live state of one profile: its records as the user has them, and as the tuning file has
/// them.
///
/// Owned by the sound context and used under its lock. The records are the provider's. Nothing but
/// `load` may be called before the first `load`. A record that the profile doesn't have is a
/// corrupt store: logged, and the end of the process.
class ProfileContext {
public:
    ProfileContext(Provider* provider, int id) : mProvider(provider), mId(id) {}

    int getId() const { return mId; }

    /// Reads the user's copy; the factory's only the first time.
    void load();
    /// Writes all records.
    void save();
    /// Back to the factory's copy, in the store too.
    void reset();
    void resetGeq();

    Profile* getProfile() const { return mProfile; }
    ProfileEndpoint* getProfileEndpoint(Endpoint endpoint) const;
    GeqPreset* getSelectedGeqPreset() const { return mGeqPreset; }
    /// The preset in force on an endpoint: number 0 while its IEQ is off.
    IeqPreset* getSelectedIeqPreset(Endpoint endpoint) const;

    /// Anything differs from the factory's copy.
    bool isModified() const;
    bool isGeqModified() const;
    /// A value of the profile or an endpoint differs; the choice of presets doesn't count.
    bool isProfileSpecificSettingsModified() const;

private:
    /// The factory's copy.
    struct Defaults {
        Defaults(Provider* provider, int id);

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
