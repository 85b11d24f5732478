#pragma once

#include "model/GeqPreset.h"
#include "model/Port.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace velora {

/// Settings that a user can change: all of them, or those that a save must store. It has copies of
/// the records, so that it can be passed to another thread.
struct UserSettings {
    std::map<int, Profile> profiles;  ///< by number
    std::map<std::pair<int, Endpoint>, ProfileEndpoint> endpoints;
    std::map<int, GeqPreset> geqPresets;  ///< by the number of their profile
    std::optional<bool> sfxOn;
    std::optional<int> selectedProfile;
    std::map<Port, std::string> devices;  ///< the selected tuning device of a port

    /// Of the tuning file that they were made for; empty if that isn't known. Not a setting.
    std::string signature;

    bool empty() const {
        return profiles.empty() && endpoints.empty() && geqPresets.empty() && !sfxOn &&
               !selectedProfile && devices.empty();
    }

    void add(const Profile& record) { profiles.insert_or_assign(record.getProfileId(), record); }
    void add(const ProfileEndpoint& record) {
        endpoints.insert_or_assign({record.getProfileId(), record.getEndpoint()}, record);
    }
    void add(const GeqPreset& record) {
        geqPresets.insert_or_assign(record.getProfileId(), record);
    }
    /// Leaves out what refers to profiles other than 0 to `numProfiles` - 1, which don't exist.
    void limitTo(int numProfiles) {
        const auto isGone = [&](const auto& entry) {
            const int id = entry.second.getProfileId();
            return id < 0 || id >= numProfiles;
        };
        std::erase_if(profiles, isGone);
        std::erase_if(endpoints, isGone);
        std::erase_if(geqPresets, isGone);
        if (selectedProfile && *selectedProfile >= numProfiles) selectedProfile.reset();
    }
    /// Adds `newer`, which replaces what it has as well.
    void add(UserSettings newer) {
        newer.profiles.merge(profiles);
        newer.endpoints.merge(endpoints);
        newer.geqPresets.merge(geqPresets);
        newer.devices.merge(devices);
        if (!newer.sfxOn) newer.sfxOn = sfxOn;
        if (!newer.selectedProfile) newer.selectedProfile = selectedProfile;
        *this = std::move(newer);
    }
};

}  // namespace velora
