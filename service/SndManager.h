#pragma once

#include "context/SndContext.h"
#include "model/Parameter.h"
#include "model/Port.h"

#include <memory>
#include <string>
#include <vector>

#include <utils/Mutex.h>

namespace velora {

class ParameterAdapter;
class SfxController;
class SfxEffect;
class Tuning;

/// The one object through which the service reaches the rest of the library.
///
/// Owned by the service; owns the effect's handle and controller and the adapter of the
/// client-facing parameters. The sound context belongs to the process. Any thread may call it: one
/// lock for the whole process is held during each operation, so that everything below is used by
/// one thread at a time, also while one facade follows another. Only waiting for the disk, and
/// reading a tuning file, happen without the lock.
///
/// Before `init` has succeeded every operation returns a neutral value: false, 0, an empty text or
/// list, -19 where the result is an error number. Profiles are given by index, ports as `Port`
/// numbers, parameters by their client-facing numbers (100 and up). An index or number out of range
/// gets the neutral value, too; a parameter number above the last one is refused by the adapter.
class SndManager {
public:
    using Values = std::vector<int>;

    SndManager();
    /// Leaves the context, which remains.
    virtual ~SndManager();
    SndManager(const SndManager&) = delete;
    SndManager& operator=(const SndManager&) = delete;

    /// Connects to the sound context and the effect, which is sent everything. Returns 0, also if
    /// it succeeded before; -19 if there is no context (yet): it may be tried again.
    [[nodiscard]] int init();

    /// False while suspended.
    bool getSndOn();
    void setSndOn(bool on);

    int getNumOfProfiles();
    std::string getProfileName(int profile);
    bool setSelectedProfile(int profile);
    int getSelectedProfile();
    /// Returns when the reset profile is stored, or storing it has failed, which is logged.
    bool resetProfile(int profile);
    bool isProfileModified(int profile);
    bool isMobilityProfileSelected();

    int getNumOfIeqPresets();
    std::string getIeqPresetName(int preset);

    /// Bytes of the names with a blank behind each.
    int getAvailableTuningDevicesLen(Port port);
    std::vector<std::string> getAvailableTuningDevices(Port port);
    std::string getSelectedTuningName(Port port);
    void setSelectedTuning(Port port, const std::string& name);
    bool isMonoInternalSpeaker();
    bool isSpeakerPortraitMode();

    /// False without a profile, a parameter number or values. What is set for virtual bass (111) is
    /// also set for the steerer's source distance (112), each within its own range.
    bool setParameter(int profile, int id, const Values& values);
    Values getParameter(int profile, int id);
    bool setProfilePortParameter(int profile, int port, int id, const Values& values);
    Values getProfilePortParameter(int profile, int port, int id);

    int getZenithGameSystemGain();
    std::string getDefaultXmlFormatVersion();
    /// Reads the maker's extra tuning file again. Returns 0 if the selected tunings may have
    /// changed.
    [[nodiscard]] int reloadTuningXml();

    /// False if not everything could be stored; what is in memory remains unchanged.
    [[nodiscard]] bool saveSndStateAndSettings();
    /// Return when the switch, or the number of the selected profile, is stored, or storing it has
    /// failed, which is logged.
    void saveSndState();
    void saveSndProfile();
    /// False if the last save failed. The next one stores what that was to store, too.
    bool isSaved();

    // Part of the vendor's contract, without a caller here.

    /// Replaces the effect and sends it everything. False before `init`.
    bool recreateSndEffect();
    /// Does that if another user has taken control of the effect. Every operation that switches,
    /// suspends, selects or resets a profile, or sets a parameter does it first.
    bool validateSndEffect();
    /// Returns `suspended` if that is the state already, else whether the effect is on.
    bool setSndSuspended(bool suspended);
    bool getSndSuspended();
    std::string getSndVersion();
    /// Bytes of the name with a terminator; 0 before `init`.
    int getProfileNameLen(int profile);
    /// Number of values of a parameter.
    int getParamLength(int id);
    Values getProfileParameter(int profile, Parameter parameter);
    /// Reads all profiles from the store again.
    void restoreCurrentProfiles();
    /// False if not everything could be stored; what is in memory remains unchanged.
    [[nodiscard]] bool saveSndProfileSettings();

protected:
    static android::Mutex sLock;

    /// Makes a handle for an audio session; a negative number is logged, but used.
    virtual std::unique_ptr<SfxEffect> createSfxEffect(int sessionId) REQUIRES(sLock);

private:
    /// Saves a part of the settings. True if they are stored, or if there are none.
    [[nodiscard]] bool save(SndContext::Part part);
    bool isProfileLocked(int profile) const REQUIRES(sLock);
    bool isParameterLocked(int profile, int id) const REQUIRES(sLock);
    std::string profileNameLocked(int profile) REQUIRES(sLock);
    /// The selected tuning of the internal speaker; null without one.
    const Tuning* speakerTuningLocked() REQUIRES(sLock);
    /// Makes sure that the effect can be controlled. False if there is no context.
    bool prepareChangeLocked() REQUIRES(sLock);
    void recreateSndEffectLocked() REQUIRES(sLock);
    void validateSndEffectLocked() REQUIRES(sLock);

    SndContext* mContext GUARDED_BY(sLock) = nullptr;
    std::unique_ptr<SfxEffect> mEffect GUARDED_BY(sLock);
    std::unique_ptr<ParameterAdapter> mAdapter GUARDED_BY(sLock);
    std::unique_ptr<SfxController> mController GUARDED_BY(sLock);
    bool mSuspended GUARDED_BY(sLock) = false;
    int mSessionId GUARDED_BY(sLock) = 0;
};

}  // namespace velora
