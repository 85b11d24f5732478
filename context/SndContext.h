#pragma once

#include "context/ProfileContext.h"
#include "context/SndContextChangeObservable.h"
#include "context/TuningSelection.h"
#include "store/Provider.h"
#include "store/StoreWriter.h"

#include <memory>
#include <string>
#include <vector>

#include <utils/Mutex.h>

namespace velora {

/// The current settings: whether the effect is on, the selected profile, the tuning device of every
/// port, and the parameters of every profile. Reads through the provider, stores on the thread of
/// its StoreWriter, and notifies its observers of every change that matters to the effect.
///
/// A save stores only what has changed since the last one; it copies that while the lock is held,
/// and waits for the disk without it. A caller that holds a lock of its own begins the save with
/// the lock held and waits after releasing it.
///
/// Owned by the context manager; owns the profile contexts. The records that it returns are owned
/// by the provider. Any thread may call it, one at a time (the facade's lock). Its own lock is
/// released before observers are notified, so they may call back. A profile number that doesn't
/// exist means a corrupt store: it is logged, and the process exits. A port without a tuning has no
/// endpoint, and a query for it returns null, false or nothing.
class SndContext {
public:
    using Values = ParameterValues::Values;
    using Save = StoreWriter::Save;

    /// The ports that a tuning is kept for, ascending.
    static constexpr auto kSupportedPorts = velora::kSupportedPorts;

    /// Empty until `load`. Both must outlive the context.
    SndContext(Provider* provider, SndContextChangeObservable* observable);
    /// Stores what is still to be stored.
    ~SndContext();
    SndContext(const SndContext&) = delete;
    SndContext& operator=(const SndContext&) = delete;

    /// Calls the observer's `onLoad` at once, so that it starts from the current state.
    void registerObserver(OnSndContextChange* observer);
    void unregisterObserver(OnSndContextChange* observer);

    /// Reads everything from the store. A port that has a device keeps it; a stored device that is
    /// no longer available is replaced by the port's default device.
    void load();
    /// What a save stores, of what has changed.
    enum class Part { EVERYTHING, SWITCH, SELECTED_PROFILE, PROFILES };
    /// Makes the first save as fast as the others. Returns at once.
    void prepareSaving() { mWriter->prepare(); }
    /// Begins a save.
    [[nodiscard]] Save beginSave(Part part);
    /// False if the last save failed; the next one stores what that was to store, too.
    bool isSaved() const { return mWriter->isStored(); }
    // Return when the settings are stored, in one transaction. If that fails, which is logged, the
    // store remains unchanged.
    [[nodiscard]] bool save() { return beginSave(Part::EVERYTHING).wait(); }
    void saveSndState() { (void)beginSave(Part::SWITCH).wait(); }
    void saveSndProfile() { (void)beginSave(Part::SELECTED_PROFILE).wait(); }
    /// All profiles, and which one is selected.
    [[nodiscard]] bool saveSndProfileSettings() { return beginSave(Part::PROFILES).wait(); }

    /// Reads the profiles and the effect switch again. What was changed and not stored is lost.
    void reloadAllProfile();
    /// Replaces the tunings by those that were read from the store again.
    void useTunings(Provider::Tunings tunings);
    /// Selects the tuning of every port again after they were replaced. A device that is no longer
    /// available is replaced by the port's default device. Notifies for every port with a tuning.
    void reloadTuning();

    bool getSfxOn() const;
    /// Not stored until `saveSndState` or `save`.
    void setSfxOn(bool on);

    int getNumOfProfiles() const { return mNumOfProfiles; }
    int getNumOfIeqPresets() const { return mNumOfIeqPresets; }
    Profile* getSelectedProfile() const;
    void setSelectedProfile(int id);
    Profile* getProfile(int id) const;
    ProfileEndpoint* getProfileEndpoint(Endpoint endpoint) const;
    ProfileEndpoint* getProfileEndpoint(int id, Endpoint endpoint) const;
    /// The selected profile's record for the endpoint of the port's tuning.
    ProfileEndpoint* getSelectedProfileEndpoint(Port port) const;
    IeqPreset* getSelectedProfileIeq(Port port) const;
    GeqPreset* getSelectedProfileGeq() const;
    /// The number of presets is itself a valid number, since preset 0 means "off". Empty for an
    /// invalid one.
    std::string getIeqPresetName(int id) const;
    bool isProfileModified(int id) const;
    /// Restores the factory copy, and begins to store it.
    [[nodiscard]] Save beginReset(int id);
    /// Restores the factory copy, in the store too: returns when it is stored.
    void resetProfile(int id) { (void)beginReset(id).wait(); }

    /// Stores `values` unless they are a prefix of the stored list; an empty list is stored only
    /// where there is none. True if stored; false also for a parameter that isn't valid in the
    /// record.
    static bool setParameter(ParameterValues& record, Parameter parameter, const Values& values);
    void setProfileParameter(int id, Parameter parameter, const Values& values);
    /// `IEQ_ID` selects the endpoint's IEQ preset, and switches IEQ on, or off for preset 0; it is
    /// ignored unless the tuning of some port is made for the endpoint. Virtual bass can be enabled
    /// on the speaker only.
    void setProfileParameter(int id, Endpoint endpoint, Parameter parameter, const Values& values);
    void setProfileGeqParameter(int id, Parameter parameter, const Values& values);
    Values getProfileParameter(int id, Parameter parameter) const;
    /// `IEQ_ID` is the number of the preset in force, which is 0 while IEQ is off.
    Values getProfileParameter(int id, Endpoint endpoint, Parameter parameter) const;
    Values getProfileGeqParameter(int id, Parameter parameter) const;

    Tuning* getSelectedTuning(Port port) const;
    std::string getSelectedTuningDevice(Port port) const;
    /// The devices of a port, in the order of the tuning files.
    std::vector<std::string> getAvailableTuningDevice(Port port) const;
    /// Selects a device of the port; with `force`, observers are notified even if nothing changes.
    /// False, and nothing changed, if the device is not available or has no tuning. Not stored
    /// until `save`.
    bool setSelectedTuning(Port port, const std::string& device, bool force);

    // Part of the vendor's contract, without a caller here.
    bool isSelected(int id) const;
    ProfileContext* getContext(int id) const;
    Profile* getDefaultProfile(int id) const;
    GeqPreset* getProfileGeq(int id) const;
    bool isProfileGeqModified(int id) const;
    bool isProfileSpecificSettingsModified(int id) const;
    void resetProfileGeq(int id);
    Values getSelectedTuningParameter(Port port, Parameter parameter) const;
    std::string getDefaultTuningDevice(Port port) const;
    void selectDefaultTuning(Port port);

private:
    ProfileContext* getContextLocked(int id) const REQUIRES(mLock);
    bool isSelectedLocked(int id) const REQUIRES(mLock);
    bool isInForceLocked(int id, Port port, Endpoint endpoint) const REQUIRES(mLock);
    void loadSelectionLocked() REQUIRES(mLock);
    void takeSwitchLocked(UserSettings* settings) REQUIRES(mLock);
    void takeSelectedProfileLocked(UserSettings* settings) REQUIRES(mLock);
    void takeProfilesLocked(UserSettings* settings) REQUIRES(mLock);
    void selectIeqPreset(int id, Endpoint endpoint, const Values& values);
    void notifyEndpoint(int id, Endpoint endpoint);
    void notifyIeqPreset(int id, Endpoint endpoint);

    Provider* const mProvider;
    SndContextChangeObservable* const mObservable;
    const int mNumOfIeqPresets;
    const int mNumOfProfiles;
    const std::shared_ptr<StoreWriter> mWriter;

    mutable android::Mutex mLock;
    std::vector<std::unique_ptr<ProfileContext>> mProfileContexts GUARDED_BY(mLock);  ///< by id
    TuningSelection mTunings GUARDED_BY(mLock);
    bool mSfxOn GUARDED_BY(mLock) = false;
    ProfileContext* mSelectedContext GUARDED_BY(mLock) = nullptr;
    // What the store has, or will have when the saves that were begun are done.
    bool mStoredSfxOn GUARDED_BY(mLock) = false;
    int mStoredProfile GUARDED_BY(mLock) = 0;
};

}  // namespace velora
