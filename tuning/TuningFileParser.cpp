#define LOG_TAG "TuningFileParser"

#include "tuning/TuningFileParser.h"

#include "model/Port.h"
#include "tuning/NodeParseUtils.h"
#include "tuning/ValueSetter.h"
#include "util/Integers.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include <log/log.h>

namespace velora {

namespace {

// Formats in which presets are known by their names, and profiles include theirs.
constexpr std::string_view kFormat32 = "3.2.";
constexpr std::string_view kFormat330 = "3.3.0";

constexpr std::string_view kInclude = "include";
constexpr std::string_view kIeqEnable = "ieq-enable";
constexpr std::string_view kIeqAmount = "ieq-amount";
constexpr std::string_view kEndpointType = "endpoint_type";
constexpr std::string_view kDeviceId = "device_id";

// Every device of a tuning carries its name.
constexpr size_t kMaxNameLength = 255;

// The IEQ presets at the index of their numbers.
constexpr std::string_view kIeqPresetNames[] = {"off", "detailed", "balanced", "warm"};
constexpr int kPresetNameCheck = 309;  // what the message of a wrong name calls its place

const SetterCollection& setterCollection() {
    static const auto* const sSetterCollection = new SetterCollection();
    return *sSetterCollection;
}

/// A name as records keep it: on one line.
std::string onOneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

int orientationOf(std::string_view text) {
    if (text == "portrait") return 1;
    if (text == "landscape") return 0;
    return string2Int(text);
}

std::string ieqPreset(int id) { return "IEQ preset " + std::to_string(id); }
std::string geqPreset(int profileId) {
    return "GEQ preset of profile " + std::to_string(profileId);
}
std::string profile(int id) { return "profile " + std::to_string(id); }
std::string endpointOfProfile(int profileId, Endpoint endpoint) {
    return std::string(endpointName(endpoint)) + " endpoint of " + profile(profileId);
}

}  // namespace

/// An element of the file, and what reads it.
struct TuningFileParser::Section {
    std::string_view element;
    void (TuningFileParser::*parse)();
};

const TuningFileParser::Section TuningFileParser::kHeaderSections[] = {
    {"format_version", &TuningFileParser::parseFormatVersion},
    {"tool_version", &TuningFileParser::parseToolVersion},
    {"zenith_game_system_gain", &TuningFileParser::parseZenithGameSystemGain},
};

const TuningFileParser::Section TuningFileParser::kRecordSections[] = {
    {"preset", &TuningFileParser::parsePreset},
    {"profile", &TuningFileParser::parseProfile},
    {"tuning", &TuningFileParser::parseTuning},
};

int TuningFileParser::setTuningFile(const std::string& path) {
    mIterator.clearAll();
    mContents = {};
    mParsed = false;
    const int result = mIterator.init(path);
    mOpen = result == 0;
    return result;
}

void TuningFileParser::parseTuningFile() {
    if (!mOpen) return;
    parseSections(kHeaderSections);
    parseSections(kRecordSections);
    completeProfiles();
    warnOfNumbering();
    buildDeviceData();
    mIterator.clearAll();
    mOpen = false;
    mParsed = true;
}

// Walks all children of the root, and comes back to the first.
void TuningFileParser::parseSections(std::span<const Section> sections) {
    mIterator.pushNode();
    for (; mIterator.isCurValid(); mIterator.next()) {
        if (!mIterator.isElementNode()) continue;
        const auto section = std::find_if(sections.begin(), sections.end(), [&](const Section& s) {
            return s.element == mIterator.getNodeName();
        });
        if (section != sections.end()) (this->*section->parse)();
    }
    mIterator.popNode();
}

TuningFileParser::Attributes TuningFileParser::parseAttributes(TagIterator::Names names) const {
    Attributes attributes;
    mIterator.parseNodeWithName(names, attributes);
    return attributes;
}

FormatVersion TuningFileParser::parseVersion() const {
    static constexpr std::array<std::string_view, 3> kAttrNames{"major", "minor", "maintenance"};
    const Attributes numbers = parseAttributes(kAttrNames);
    return {onOneLine(numbers[0]), onOneLine(numbers[1]), onOneLine(numbers[2])};
}

void TuningFileParser::parseFormatVersion() {
    mContents.formatVersion = parseVersion();
    ALOGD("xml version: %s", mContents.formatVersion.text().c_str());
}

void TuningFileParser::parseToolVersion() { mContents.toolVersion = parseVersion(); }

void TuningFileParser::parseZenithGameSystemGain() {
    mContents.zenithGameSystemGain = NodeParseUtils::parseValue(mIterator);
}

// False, with a warning, if there is such a record already: the first one stays.
bool TuningFileParser::claim(const std::string& what) {
    const bool isNew = mContents.taken.insert(what).second;
    if (!isNew) ALOGW("A second %s is ignored", what.c_str());
    return isNew;
}

template <typename Record>
void TuningFileParser::add(Owned<Record>& records, std::unique_ptr<Record> record,
                           const std::string& what) {
    for (const Parameter dropped : record->completeTo(Record::kStoredParams)) {
        ALOGW("%s has no %s, it is ignored", what.c_str(), parameterInfo(dropped).column.data());
    }
    records.push_back(std::move(record));
}

void TuningFileParser::parseParameter(ParameterValues& record, std::string_view element) {
    const ValueSetter* const setter = setterCollection().getValueSetter(element);
    if (setter != nullptr) setter->set(record, mIterator);
}

int TuningFileParser::getIeqPresetIdByName(std::string_view name) {
    const auto* const place =
        std::find(std::begin(kIeqPresetNames), std::end(kIeqPresetNames), name);
    if (place != std::end(kIeqPresetNames)) {
        return static_cast<int>(place - std::begin(kIeqPresetNames));
    }
    ALOGE("name is invalid, %d", kPresetNameCheck);
    return 0;
}

void TuningFileParser::parsePreset() {
    static constexpr std::array<std::string_view, 3> kAttrNames{"id", "name", "type"};
    const Attributes attributes = parseAttributes(kAttrNames);
    if (attributes[2] == "ieq") parseIeqPreset(attributes);
    if (attributes[2] == "geq") parseGeqPreset(attributes);
}

void TuningFileParser::parseIeqPreset(const Attributes& attributes) {
    int id = string2Int(attributes[0]);
    std::string name = onOneLine(attributes[1]);
    const FormatVersion& version = mContents.formatVersion;
    if (version.startsWith(kFormat32) || version.startsWith(kFormat330)) {
        id = getIeqPresetIdByName(attributes[0]);
        name = kIeqPresetNames[id];
    }
    if (!claim(ieqPreset(id))) return;
    auto preset = std::make_unique<IeqPreset>(id, std::move(name));
    parseParameter(*preset, attributes[2]);
    add(mContents.ieqPresets, std::move(preset), ieqPreset(id));
}

void TuningFileParser::parseGeqPreset(const Attributes& attributes) {
    const int profileId = string2Int(attributes[0]);
    if (!claim(geqPreset(profileId))) return;
    auto preset = std::make_unique<GeqPreset>(profileId);
    parseParameter(*preset, attributes[2]);
    add(mContents.geqPresets, std::move(preset), geqPreset(profileId));
}

void TuningFileParser::parseProfile() {
    static constexpr std::array<std::string_view, 3> kAttrNames{"id", "name", "group"};
    const Attributes attributes = parseAttributes(kAttrNames);
    const int id = string2Int(attributes[0]);
    if (!claim(profile(id))) return;

    const bool mobility =
        attributes[2] == "mobility" && !mContents.formatVersion.startsWith(kFormat32);
    auto record = std::make_unique<Profile>(id, onOneLine(attributes[1]), mobility);
    const EndpointDefaults defaults = parseEndpointDefaults();
    for (const Descent below(mIterator); below && mIterator.isCurValid(); mIterator.next()) {
        if (!mIterator.isElementNode()) continue;
        const std::string_view element = mIterator.getNodeName();
        if (element == kEndpointType) {
            parseProfileEndpoint(id, defaults);
        } else if (element != kIeqEnable && element != kIeqAmount) {
            parseParameter(*record, element);
        }
    }
    for (const Endpoint endpoint : kEndpoints) {
        if (mContents.taken.contains(endpointOfProfile(id, endpoint))) continue;
        addProfileEndpoint(std::make_unique<ProfileEndpoint>(id, endpoint, defaults.ieqPreset),
                           defaults);
    }
    setVersionDefaults(*record);
    add(mContents.profiles, std::move(record), profile(id));
}

// They count wherever they stand among the children of the profile.
TuningFileParser::EndpointDefaults TuningFileParser::parseEndpointDefaults() {
    EndpointDefaults defaults;
    const bool includes = mContents.formatVersion.startsWith(kFormat32);
    if (includes) ALOGD("%s, parse the ieq preset", "parseProfile");
    for (const Descent below(mIterator); below && mIterator.isCurValid(); mIterator.next()) {
        if (!mIterator.isElementNode()) continue;
        const std::string_view element = mIterator.getNodeName();
        if (element == kInclude && includes) defaults.ieqPreset = parseIncludedIeqPreset();
        if (element == kIeqEnable) defaults.ieqEnable = {NodeParseUtils::parseValue(mIterator)};
        if (element == kIeqAmount) defaults.ieqAmount = {NodeParseUtils::parseValue(mIterator)};
    }
    return defaults;
}

int TuningFileParser::parseIncludedIeqPreset() const {
    const std::string name = mIterator.getAttr("ieq_preset");
    return getIeqPresetIdByName(name.empty() ? mIterator.getAttr("preset") : name);
}

void TuningFileParser::parseProfileEndpoint(int profileId, const EndpointDefaults& defaults) {
    const std::string type = mIterator.getAttr("id");
    const Endpoint endpoint = endpointByName(type).value_or(Endpoint::OTHER);
    if (!claim(endpointOfProfile(profileId, endpoint))) return;

    auto record = std::make_unique<ProfileEndpoint>(profileId, endpoint, defaults.ieqPreset);
    for (const Descent below(mIterator); below && mIterator.isCurValid(); mIterator.next()) {
        if (!mIterator.isElementNode()) continue;
        const std::string_view element = mIterator.getNodeName();
        if (element == kInclude) {
            ALOGD("%s:%s, parse the include ieq preset", __func__, type.c_str());
            record->setSelectedIeqPreset(parseIncludedIeqPreset());
        } else {
            parseParameter(*record, element);
        }
    }
    addProfileEndpoint(std::move(record), defaults);
}

void TuningFileParser::addProfileEndpoint(std::unique_ptr<ProfileEndpoint> record,
                                          const EndpointDefaults& defaults) {
    const Endpoint endpoint = record->getEndpoint();
    const bool followsPreset = defaults.ieqEnable.empty();
    if (record->find(IEQ_ENABLE) == nullptr) {
        record->set(IEQ_ENABLE, followsPreset
                                    ? ParameterValues::Values{record->getSelectedIeqPreset() != 0}
                                    : defaults.ieqEnable);
    }
    if (record->find(IEQ_AMOUNT) == nullptr) record->set(IEQ_AMOUNT, defaults.ieqAmount);
    record->set(VIRTUAL_BASS_TYPE, {endpoint == Endpoint::SPEAKER});
    const std::string what = endpointOfProfile(record->getProfileId(), endpoint);
    add(mContents.profileEndpoints, std::move(record), what);
}

// Older files don't know these parameters.
void TuningFileParser::setVersionDefaults(Profile& profile) const {
    const auto setMissing = [&](Parameter parameter, int value) {
        if (profile.find(parameter) == nullptr) profile.set(parameter, {value});
    };
    if (mContents.formatVersion.isBefore(3, 3, 0)) {
        setMissing(REVERB_SUPPRESSION_ENABLE, 0);
        setMissing(REVERB_SUPPRESSION_AMOUNT, 0);
    }
    if (mContents.formatVersion.isBefore(3, 4, 0)) setMissing(HEADPHONE_VIRTUALIZER_MODE, 1);
}

void TuningFileParser::parseTuning() {
    static constexpr std::array<std::string_view, 5> kAttrNames{
        "name", "endpoint_type", "mono_device", "orientation", "output_channels"};
    static constexpr std::array<std::string_view, 2> kDeviceAttrNames{"id", "endpoint_port"};
    const Attributes attributes = parseAttributes(kAttrNames);
    const std::string name = onOneLine(attributes[0]);
    const std::string what = "tuning " + name;
    if (name.size() > kMaxNameLength) {
        ALOGW("A tuning is ignored: its name has %zu bytes, more than %zu", name.size(),
              kMaxNameLength);
        return;
    }

    auto record = std::make_unique<Tuning>(
        name, endpointByName(attributes[1]).value_or(Endpoint::SPEAKER), attributes[2] == "true");
    record->set(ORIENTATION, {orientationOf(attributes[3])});
    record->set(OUTPUT_CHANNELS, {string2Int(attributes[4])});

    // Device ids come first; the first other element is the data. The devices of a second tuning of
    // the name get the first one.
    Owned<DeviceTuning> devices;
    for (const Descent below(mIterator); below && mIterator.isCurValid(); mIterator.next()) {
        if (!mIterator.isElementNode()) continue;
        if (mIterator.getNodeName() != kDeviceId) {
            if (claim(what)) {
                parseData(*record);
                add(mContents.tunings, std::move(record), what);
            }
            std::move(devices.begin(), devices.end(), std::back_inserter(mContents.deviceTunings));
            return;
        }
        const Attributes device = parseAttributes(kDeviceAttrNames);
        devices.push_back(
            std::make_unique<DeviceTuning>(onOneLine(device[0]), onOneLine(device[1]), name));
    }
    ALOGE("There is no <data> in Tuning section");
}

void TuningFileParser::parseData(ParameterValues& record) {
    for (const Descent below(mIterator); below && mIterator.isCurValid(); mIterator.next()) {
        if (mIterator.isElementNode()) parseParameter(record, mIterator.getNodeName());
    }
}

void TuningFileParser::completeProfiles() {
    for (const auto& record : mContents.profiles) {
        const int id = record->getProfileId();
        if (mContents.taken.contains(geqPreset(id))) continue;
        add(mContents.geqPresets, std::make_unique<GeqPreset>(id), geqPreset(id));
    }
}

// The rest of the system counts on numbers without gaps. IEQ preset 0 needs no curve.
void TuningFileParser::warnOfNumbering() const {
    const auto warnOfMissing = [&](int first, size_t count, auto describe) {
        for (int id = first; id < static_cast<int>(count); ++id) {
            const std::string what = describe(id);
            if (mContents.taken.contains(what)) continue;
            ALOGW("%s is missing, and a higher number is out of reach", what.c_str());
        }
    };
    warnOfMissing(0, mContents.profiles.size(), profile);
    warnOfMissing(1, mContents.ieqPresets.size(), ieqPreset);
}

void TuningFileParser::buildDeviceData() {
    const auto pointersOf = []<typename Record>(const Owned<Record>& records) {
        DeviceData::Records<Record> pointers;
        pointers.reserve(records.size());
        for (const auto& record : records) pointers.push_back(record.get());
        return pointers;
    };
    DeviceData& data = mContents.data;
    data.setFormatVersion(mContents.formatVersion.text());
    data.setToolVersion(mContents.toolVersion.text());
    data.setZenithGameSystemGain(mContents.zenithGameSystemGain);
    data.setTunings(pointersOf(mContents.tunings));
    data.setDeviceTunings(pointersOf(mContents.deviceTunings));
    data.setProfiles(pointersOf(mContents.profiles));
    data.setProfileEndPoints(pointersOf(mContents.profileEndpoints));
    data.setIeqPresets(pointersOf(mContents.ieqPresets));
    data.setGeqPresets(pointersOf(mContents.geqPresets));
}

std::string TuningFileParser::getProfileName(int index) const {
    if (index < 0 || index >= getNumOfProfiles()) return {};
    return mContents.profiles[static_cast<size_t>(index)]->getName();
}

}  // namespace velora
