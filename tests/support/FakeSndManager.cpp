#include "tests/support/FakeSndManager.h"

#include "service/SndManager.h"

#include <algorithm>

namespace velora::test {

FakeSndManager& FakeSndManager::get() {
    static auto* const sFake = new FakeSndManager();  // looper threads may outlive the tests
    return *sFake;
}

void FakeSndManager::reset() {
    std::lock_guard guard(lock);
    calls.clear();
    initResult = reloadResult = selectedProfile = 0;
    on = selectable = true;
    ignoresSelection = mono = portrait = mobility = false;
    profiles = 3;
    version = "2.0.1";
    devices = {"default_hdmi", "tv"};
    parameters.clear();
}

void FakeSndManager::note(std::string call) {
    std::lock_guard guard(lock);
    calls.push_back(std::move(call));
}

std::vector<std::string> FakeSndManager::takeCalls() {
    std::lock_guard guard(lock);
    return std::exchange(calls, {});
}

size_t FakeSndManager::countOf(const std::string& call) {
    std::lock_guard guard(lock);
    return static_cast<size_t>(std::count(calls.begin(), calls.end(), call));
}

}  // namespace velora::test

namespace velora {

namespace {

test::FakeSndManager& fake() { return test::FakeSndManager::get(); }

template <typename T>
T read(T test::FakeSndManager::*member) {
    std::lock_guard guard(fake().lock);
    return fake().*member;
}

std::string textOf(const std::vector<int>& values) {
    std::string text;
    for (const int value : values) text.append(" ").append(std::to_string(value));
    return text;
}

std::vector<int> parameterOf(int id) {
    const auto parameters = read(&test::FakeSndManager::parameters);
    const auto entry = parameters.find(id);
    return entry != parameters.end() ? entry->second : std::vector<int>{};
}

}  // namespace

SndManager::SndManager() { ++fake().alive; }
SndManager::~SndManager() {
    fake().note("~");
    --fake().alive;
}

int SndManager::init() {
    fake().note("init");
    return read(&test::FakeSndManager::initResult);
}

bool SndManager::getSndOn() { return read(&test::FakeSndManager::on); }
void SndManager::setSndOn(bool on) { fake().note(on ? "on" : "off"); }

int SndManager::getNumOfProfiles() { return read(&test::FakeSndManager::profiles); }
std::string SndManager::getProfileName(int profile) { return "profile " + std::to_string(profile); }
bool SndManager::setSelectedProfile(int profile) {
    fake().note("select " + std::to_string(profile));
    std::lock_guard guard(fake().lock);
    if (fake().selectable && !fake().ignoresSelection) fake().selectedProfile = profile;
    return fake().selectable;
}
int SndManager::getSelectedProfile() { return read(&test::FakeSndManager::selectedProfile); }
bool SndManager::resetProfile(int profile) {
    fake().note("reset " + std::to_string(profile));
    return true;
}
bool SndManager::isProfileModified(int profile) { return profile == 1; }
bool SndManager::isMobilityProfileSelected() { return read(&test::FakeSndManager::mobility); }

int SndManager::getNumOfIeqPresets() { return 4; }
std::string SndManager::getIeqPresetName(int preset) { return "preset " + std::to_string(preset); }

int SndManager::getAvailableTuningDevicesLen(Port port) { return 100 + port; }
std::vector<std::string> SndManager::getAvailableTuningDevices(Port port) {
    fake().note("devices " + std::to_string(port));
    return read(&test::FakeSndManager::devices);
}
std::string SndManager::getSelectedTuningName(Port port) { return "port " + std::to_string(port); }
void SndManager::setSelectedTuning(Port port, const std::string& name) {
    fake().note("tuning " + std::to_string(port) + " [" + name + "]");
}
bool SndManager::isMonoInternalSpeaker() { return read(&test::FakeSndManager::mono); }
bool SndManager::isSpeakerPortraitMode() { return read(&test::FakeSndManager::portrait); }

bool SndManager::setParameter(int profile, int id, const std::vector<int>& values) {
    fake().note("set " + std::to_string(profile) + " " + std::to_string(id) + ":" + textOf(values));
    return !values.empty();
}
std::vector<int> SndManager::getParameter(int profile, int id) {
    fake().note("get " + std::to_string(profile));
    return parameterOf(id);
}
bool SndManager::setProfilePortParameter(int profile, int port, int id,
                                         const std::vector<int>& values) {
    fake().note("set " + std::to_string(profile) + "/" + std::to_string(port) + " " +
                std::to_string(id) + ":" + textOf(values));
    return !values.empty();
}
std::vector<int> SndManager::getProfilePortParameter(int profile, int port, int id) {
    fake().note("get " + std::to_string(profile) + "/" + std::to_string(port));
    return parameterOf(id);
}

int SndManager::getZenithGameSystemGain() { return -7; }
std::string SndManager::getDefaultXmlFormatVersion() {
    return read(&test::FakeSndManager::version);
}
int SndManager::reloadTuningXml() { return read(&test::FakeSndManager::reloadResult); }

void SndManager::saveSndStateAndSettings() { fake().note("save all"); }
void SndManager::saveSndState() { fake().note("save state"); }
void SndManager::saveSndProfile() { fake().note("save profile"); }

}  // namespace velora
