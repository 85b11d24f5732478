#pragma once

#include "model/Parameter.h"
#include "model/Port.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velora {

/// The one object through which the service reaches the rest of the library.
///
/// Owned by the service. Any thread may call it. Before `init` has succeeded every operation
/// answers neutrally: false, 0, an empty text or list, -19 where the result is an error number.
/// Profiles are given by index, ports as `Port` numbers, parameters by their client-facing numbers
/// (100 and up); what is out of range gets the neutral answer too.
class SndManager {
public:
    SndManager();
    ~SndManager();
    SndManager(const SndManager&) = delete;
    SndManager& operator=(const SndManager&) = delete;

    /// Connects to the sound context and the effect. 0, also when it succeeded before; -19 when
    /// there is no context (yet): it may be tried again.
    int init();

    bool getSndOn();
    void setSndOn(bool on);

    int getNumOfProfiles();
    std::string getProfileName(int profile);
    bool setSelectedProfile(int profile);
    int getSelectedProfile();
    bool resetProfile(int profile);
    bool isProfileModified(int profile);
    bool isMobilityProfileSelected();

    int getNumOfIeqPresets();
    std::string getIeqPresetName(int preset);

    int getAvailableTuningDevicesLen(Port port);
    std::vector<std::string> getAvailableTuningDevices(Port port);
    std::string getSelectedTuningName(Port port);
    void setSelectedTuning(Port port, const std::string& name);
    bool isMonoInternalSpeaker();
    bool isSpeakerPortraitMode();

    bool setParameter(int profile, int id, const std::vector<int>& values);
    std::vector<int> getParameter(int profile, int id);
    bool setProfilePortParameter(int profile, int port, int id, const std::vector<int>& values);
    std::vector<int> getProfilePortParameter(int profile, int port, int id);

    int getZenithGameSystemGain();
    std::string getDefaultXmlFormatVersion();
    /// Reads the maker's extra tuning file again. 0 when the tunings in force may have changed.
    int reloadTuningXml();

    void saveSndStateAndSettings();
    void saveSndState();
    void saveSndProfile();
};

}  // namespace velora
