#pragma once

#include "context/ProfileContext.h"
#include "context/SndContextChangeObservable.h"
#include "store/Provider.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <utils/Mutex.h>

namespace velora {

/// The live selection: effect on or off, the selected profile, the tuning device of every port, and
/// the settings of every profile. Reads and writes through the provider, and tells its observers of
/// every change that matters to the effect.
///
/// Owned by the context manager; owns the profile contexts. Records that it hands out are the
/// provider's. Any thread may call it, one at a time (the facade's lock): its own lock is released
/// before observers are told, so that they may call back. A profile that doesn't exist is a corrupt
/// store: logged, and the end of the process. A port without a tuning has no endpoint: what is
/// asked of it is null, empty or false.
class SndContext {
public:
    using Values = ParameterValues::Values;

    /// The ports that a tuning is kept for, ascending.
    static constexpr auto kSupportedPorts = velora::kSupportedPorts;

    /// Empty until `load`. Both must outlive the context.
    SndContext(Provider* provider, SndContextChangeObservable* observable);
    SndContext(const SndContext&) = delete;
    SndContext& operator=(const SndContext&) = delete;

    /// Tells the observer the whole state at once.
    void registerObserver(OnSndContextChange* observer);
    void unregisterObserver(OnSndContextChange* observer);

    /// Reads everything from the store; a port that has a device keeps it. A stored device that has
    /// no tuning any more gives way to the port's default one.
    void load();
    /// Writes everything, as a whole. False if it couldn't be stored.
    bool save();
    /// Reads the profiles and the switch anew.
    void reloadAllProfile();
    /// Takes up tunings that were replaced in the store: a device that has gone gives way to the
    /// port's default, and every port with a tuning is announced.
    void reloadTuning();
    void saveSndState();
    void saveSndProfile();
    bool saveSndProfileSettings();

    bool getSfxOn();
    /// Not stored before `saveSndState` or `save`.
    void setSfxOn(bool on);

    int getNumOfProfiles() const { return mNumOfProfiles; }
    int getNumOfIeqPresets() const { return mNumOfIeqPresets; }
    bool isSelected(int id);
    ProfileContext* getContext(int id);
    Profile* getSelectedProfile();
    void setSelectedProfile(int id);
    Profile* getProfile(int id);
    GeqPreset* getProfileGeq(int id);
    Profile* getDefaultProfile(int id);
    ProfileEndpoint* getProfileEndpoint(Endpoint endpoint);
    ProfileEndpoint* getProfileEndpoint(int id, Endpoint endpoint);
    /// What the selected profile has for the endpoint of a port's tuning; null without a tuning.
    ProfileEndpoint* getSelectedProfileEndpoint(Port port);
    IeqPreset* getSelectedProfileIeq(Port port);
    GeqPreset* getSelectedProfileGeq();
    /// Of the presets 0 to the count, which is included; empty for any other.
    std::string getIeqPresetName(int id);
    bool isProfileModified(int id);
    bool isProfileGeqModified(int id);
    bool isProfileSpecificSettingsModified(int id);
    /// Back to the factory's copy, stored.
    void resetProfile(int id);
    void resetProfileGeq(int id);

    /// The change rule: values aren't stored if they are the beginning of those that the record
    /// has, nor if they are empty where it has some, nor if the parameter is not valid there. True
    /// if stored.
    static bool setParameter(ParameterValues& record, Parameter parameter, const Values& values);
    void setProfileParameter(int id, Parameter parameter, const Values& values);
    /// `IEQ_ID` selects the IEQ preset of an endpoint that some port's tuning has, and switches IEQ
    /// on, or off for preset 0. Virtual bass can be enabled on the speaker only.
    void setProfileParameter(int id, Endpoint endpoint, Parameter parameter, const Values& values);
    void setProfileGeqParameter(int id, Parameter parameter, const Values& values);
    Values getProfileParameter(int id, Parameter parameter);
    /// `IEQ_ID` is answered by the preset in force.
    Values getProfileParameter(int id, Endpoint endpoint, Parameter parameter);
    Values getProfileGeqParameter(int id, Parameter parameter);
    Values getSelectedTuningParameter(Port port, Parameter parameter);

    Tuning* getSelectedTuning(Port port);
    std::string getSelectedTuningDevice(Port port);
    /// The devices of a port, in the order of the tuning files.
    std::vector<std::string> getAvailableTuningDevice(Port port);
    /// The first device whose name begins with "default_", else the one named like the port, else
    /// the first, else the port's name.
    std::string getDefaultTuningDevice(Port port);
    void selectDefaultTuning(Port port);
    /// Selects a device of the port; `force` also when it is selected already. False, and nothing
    /// changed, for a device that isn't there or has no tuning. Not stored before `save`.
    bool setSelectedTuning(Port port, const std::string& device, bool force);

private:
    ProfileContext* getContextLocked(int id) REQUIRES(mLock);
    bool isSelectedLocked(int id) const REQUIRES(mLock);
    void loadProfilesLocked() REQUIRES(mLock);
    void saveProfilesLocked() REQUIRES(mLock);
    Tuning* findTuningLocked(Port port) const REQUIRES(mLock);
    std::string deviceOfLocked(Port port) const REQUIRES(mLock);
    /// Some port's tuning is for this endpoint.
    bool isUsedLocked(Endpoint endpoint) const REQUIRES(mLock);
    bool isInForceLocked(int id, Port port, Endpoint endpoint) const REQUIRES(mLock);
    void notifyEndpoint(int id, Endpoint endpoint);
    std::vector<std::string> devicesForLocked(Port port) REQUIRES(mLock);
    std::string defaultDeviceForLocked(Port port) REQUIRES(mLock);
    void useAvailableDeviceLocked(Port port) REQUIRES(mLock);
    Tuning* reloadTuningLocked(Port port) REQUIRES(mLock);
    void selectIeqPreset(int id, Endpoint endpoint, const Values& values);

    Provider* const mProvider;
    SndContextChangeObservable* const mObservable;
    const int mNumOfIeqPresets;
    const int mNumOfProfiles;

    android::Mutex mLock;
    std::vector<std::unique_ptr<ProfileContext>> mProfileContexts GUARDED_BY(mLock);  ///< by id
    std::map<Port, std::string> mSelectedDevices GUARDED_BY(mLock);
    std::map<Port, Tuning*> mSelectedTunings GUARDED_BY(mLock);
    bool mSfxOn GUARDED_BY(mLock) = false;
    ProfileContext* mSelectedContext GUARDED_BY(mLock) = nullptr;
};

}  // namespace velora
