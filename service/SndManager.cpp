#include "service/SndManager.h"

#include <utils/Errors.h>

namespace velora {

// There is no sound context to connect to yet, so every operation gives its answer of before
// `init`.

SndManager::SndManager() = default;
SndManager::~SndManager() = default;

int SndManager::init() { return android::NO_INIT; }

bool SndManager::getSndOn() { return false; }
void SndManager::setSndOn(bool) {}

int SndManager::getNumOfProfiles() { return 0; }
std::string SndManager::getProfileName(int) { return {}; }
bool SndManager::setSelectedProfile(int) { return false; }
int SndManager::getSelectedProfile() { return 0; }
bool SndManager::resetProfile(int) { return false; }
bool SndManager::isProfileModified(int) { return false; }
bool SndManager::isMobilityProfileSelected() { return false; }

int SndManager::getNumOfIeqPresets() { return 0; }
std::string SndManager::getIeqPresetName(int) { return {}; }

int SndManager::getAvailableTuningDevicesLen(Port) { return 0; }
std::vector<std::string> SndManager::getAvailableTuningDevices(Port) { return {}; }
std::string SndManager::getSelectedTuningName(Port) { return {}; }
void SndManager::setSelectedTuning(Port, const std::string&) {}
bool SndManager::isMonoInternalSpeaker() { return false; }
bool SndManager::isSpeakerPortraitMode() { return false; }

bool SndManager::setParameter(int, int, const std::vector<int>&) { return false; }
std::vector<int> SndManager::getParameter(int, int) { return {}; }
bool SndManager::setProfilePortParameter(int, int, int, const std::vector<int>&) { return false; }
std::vector<int> SndManager::getProfilePortParameter(int, int, int) { return {}; }

int SndManager::getZenithGameSystemGain() { return 0; }
std::string SndManager::getDefaultXmlFormatVersion() { return {}; }
int SndManager::reloadTuningXml() { return android::NO_INIT; }

void SndManager::saveSndStateAndSettings() {}
void SndManager::saveSndState() {}
void SndManager::saveSndProfile() {}

}  // namespace velora
