#pragma once

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
class SndContext;

/// The one object through which the service reaches the rest of the library.
///
/// Owned by the service; owns the effect's handle and controller and the adapter of the
/// client-facing parameters. The sound context is the process's. Any thread may call it: one lock
/// for the whole process is held for the whole of each operation, so that everything below is used
/// by one thread at a time, also while one facade follows another.
///
/// Before `init` has succeeded every operation answers neutrally: false, 0, an empty text or list,
/// -19 where the result is an error number. Profiles are given by index, ports as `Port` numbers,
/// parameters by their client-facing numbers (100 and up); what is out of range gets the neutral
/// answer too, but numbers above the last parameter are the adapter's to answer.
class SndManager {
public:
    using Values = std::vector<int>;

    SndManager();
    /// Leaves the context, which stays.
    virtual ~SndManager();
    SndManager(const SndManager&) = delete;
    SndManager& operator=(const SndManager&) = delete;

    /// Connects to the sound context and the effect, which is sent everything. 0, also when it
    /// succeeded before; -19 when there is no context (yet): it may be tried again.
    int init();

    /// Makes the effect anew and sends it everything. False before `init`.
    bool recreateSndEffect();
    /// Does that if the effect has been taken away. Switching, suspending, selecting and resetting
    /// a profile, and setting a parameter do it first.
    bool validateSndEffect();

    /// False while suspended.
    bool getSndOn();
    void setSndOn(bool on);
    /// `suspended` if that is so already, else whether the effect is on.
    bool setSndSuspended(bool suspended);
    bool getSndSuspended();
    std::string getSndVersion();

    int getNumOfProfiles();
    /// Bytes of the name with a terminator.
    int getProfileNameLen(int profile);
    std::string getProfileName(int profile);
    bool setSelectedProfile(int profile);
    int getSelectedProfile();
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

    /// Number of values of a parameter.
    int getParamLength(int id);
    /// False for no profile, no parameter number, or no values. What is set for virtual bass (111)
    /// is also set for the steerer's source distance (112), each within its range.
    bool setParameter(int profile, int id, const Values& values);
    Values getParameter(int profile, int id);
    Values getProfileParameter(int profile, Parameter parameter);
    bool setProfilePortParameter(int profile, int port, int id, const Values& values);
    Values getProfilePortParameter(int profile, int port, int id);

    int getZenithGameSystemGain();
    std::string getDefaultXmlFormatVersion();
    /// Reads the maker's extra tuning file again. 0 when the tunings in force may have changed.
    int reloadTuningXml();

    /// Back to what is stored.
    void restoreCurrentProfiles();
    /// False if not everything could be stored; what couldn't be is as it was.
    bool saveSndStateAndSettings();
    void saveSndState();
    void saveSndProfile();
    bool saveSndProfileSettings();

protected:
    static android::Mutex sLock;

    /// A handle for an audio session; a negative one is logged and used.
    virtual std::unique_ptr<SfxEffect> createSfxEffect(int sessionId) REQUIRES(sLock);

private:
    bool isProfileLocked(int profile) const REQUIRES(sLock);
    bool isParameterLocked(int profile, int id) const REQUIRES(sLock);
    /// True if there is a context; the effect can be controlled then.
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
