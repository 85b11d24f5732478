#define LOG_TAG "TuningFileParser"

#include "tuning/TuningFileParser.h"

#include "model/Port.h"
#include "tuning/ElementsBelow.h"
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

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kFormatVersionMessage[] = "xml version: %s";
constexpr char kNoDataMessage[] = "There is no <data> in Tuning section";
constexpr char kPresetNameMessage[] = "name is invalid, %d";
constexpr char kProfilePresetMessage[] = "%s, parse the ieq preset";
constexpr char kEndpointPresetMessage[] = "%s:%s, parse the include ieq preset";
// Numbers and function names inside log texts that are part of the interface. They don't follow the
// lines and functions of this file.
constexpr int kPresetNameCheck = 309;
constexpr char kProfileFunction[] = "parseProfile";
constexpr char kEndpointFunction[] = "parseProfileEndpoint";

// Beginnings of the versions in which presets are identified by name. Only in the first of them
// does a profile include a preset.
constexpr std::string_view kFormat32 = "3.2.";
constexpr std::string_view kFormat330 = "3.3.0";

constexpr std::string_view kInclude = "include";
constexpr std::string_view kIeqEnable = "ieq-enable";
constexpr std::string_view kIeqAmount = "ieq-amount";
constexpr std::string_view kEndpointType = "endpoint_type";
constexpr std::string_view kDeviceId = "device_id";

// In bytes. Each device of a tuning stores the tuning's name, so a file with a long name and many
// devices would fill the database.
constexpr size_t kMaxNameLength = 255;

/// The IEQ presets at the index of their numbers.
constexpr std::string_view kIeqPresetNames[] = {"off", "detailed", "balanced", "warm"};

// Never destroyed, so that it may be used until the process ends.
const SetterCollection& setterCollection() {
    static const auto* const sSetterCollection = new SetterCollection();
    return *sSetterCollection;
}

/// Names are printed one to a line, so they can't have line feeds.
std::string onOneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

int parseOrientation(std::string_view text) {
    if (text == "portrait") return 1;
    if (text == "landscape") return 0;
    return string2Int(text);
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
    mIsParsed = false;
    mFormatVersion = {};
    mData = {};
    mRecords = {};

    const int result = mIterator.init(path);
    mIsOpen = result == 0;
    return result;
}

void TuningFileParser::parseTuningFile() {
    if (!mIsOpen) return;

    // The format version decides how records are read, and may come after them.
    parseSections(kHeaderSections);
    parseSections(kRecordSections);
    mRecords.addMissingGeqPresets();
    mRecords.warnOfMissingNumbers();
    mRecords.listIn(mData);

    mIterator.clearAll();
    mIsOpen = false;
    mIsParsed = true;
}

// The iterator is at the first child of the root before and after.
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
    mFormatVersion = parseVersion();
    mData.setFormatVersion(mFormatVersion.text());
    ALOGD(kFormatVersionMessage, mFormatVersion.text().c_str());
}

void TuningFileParser::parseToolVersion() { mData.setToolVersion(parseVersion().text()); }

void TuningFileParser::parseZenithGameSystemGain() {
    mData.setZenithGameSystemGain(NodeParseUtils::parseValue(mIterator));
}

void TuningFileParser::parseParameter(ParameterValues& record, std::string_view element) {
    const ValueSetter* const setter = setterCollection().getValueSetter(element);
    if (setter != nullptr) setter->set(record, mIterator);
}

int TuningFileParser::getIeqPresetIdByName(std::string_view name) {
    const auto* const place =
        std::find(std::begin(kIeqPresetNames), std::end(kIeqPresetNames), name);
    if (place == std::end(kIeqPresetNames)) {
        ALOGE(kPresetNameMessage, kPresetNameCheck);
        return 0;
    }
    return static_cast<int>(place - std::begin(kIeqPresetNames));
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
    if (mFormatVersion.startsWith(kFormat32) || mFormatVersion.startsWith(kFormat330)) {
        id = getIeqPresetIdByName(attributes[0]);
        name = kIeqPresetNames[id];
    }

    auto preset = std::make_unique<IeqPreset>(id, std::move(name));
    if (!mRecords.claim(*preset)) return;
    parseParameter(*preset, attributes[2]);
    mRecords.add(std::move(preset));
}

void TuningFileParser::parseGeqPreset(const Attributes& attributes) {
    auto preset = std::make_unique<GeqPreset>(string2Int(attributes[0]));
    if (!mRecords.claim(*preset)) return;
    parseParameter(*preset, attributes[2]);
    mRecords.add(std::move(preset));
}

void TuningFileParser::parseProfile() {
    static constexpr std::array<std::string_view, 3> kAttrNames{"id", "name", "group"};
    const Attributes attributes = parseAttributes(kAttrNames);
    const int id = string2Int(attributes[0]);
    const bool mobility = attributes[2] == "mobility" && !mFormatVersion.startsWith(kFormat32);
    auto profile = std::make_unique<Profile>(id, onOneLine(attributes[1]), mobility);
    if (!mRecords.claim(*profile)) return;

    const EndpointDefaults defaults = parseEndpointDefaults();
    for (ElementsBelow children(mIterator); children; children.next()) {
        const std::string_view element = mIterator.getNodeName();
        if (element == kEndpointType) {
            parseProfileEndpoint(id, defaults);
        } else if (element != kIeqEnable && element != kIeqAmount) {
            parseParameter(*profile, element);
        }
    }

    for (const Endpoint endpoint : kEndpoints) {
        auto missing = std::make_unique<ProfileEndpoint>(id, endpoint, defaults.ieqPreset);
        if (!mRecords.isClaimed(*missing)) addProfileEndpoint(std::move(missing), defaults);
    }

    setVersionDefaults(*profile);
    mRecords.add(std::move(profile));
}

// A pass of its own, because the defaults also hold for the endpoints that come before them.
TuningFileParser::EndpointDefaults TuningFileParser::parseEndpointDefaults() {
    EndpointDefaults defaults;
    const bool canInclude = mFormatVersion.startsWith(kFormat32);
    if (canInclude) ALOGD(kProfilePresetMessage, kProfileFunction);

    for (ElementsBelow children(mIterator); children; children.next()) {
        const std::string_view element = mIterator.getNodeName();
        if (element == kInclude && canInclude) defaults.ieqPreset = parseIncludedIeqPreset();
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
    auto record = std::make_unique<ProfileEndpoint>(profileId, endpoint, defaults.ieqPreset);
    if (!mRecords.claim(*record)) return;

    for (ElementsBelow children(mIterator); children; children.next()) {
        const std::string_view element = mIterator.getNodeName();
        if (element == kInclude) {
            ALOGD(kEndpointPresetMessage, kEndpointFunction, type.c_str());
            record->setSelectedIeqPreset(parseIncludedIeqPreset());
        } else {
            parseParameter(*record, element);
        }
    }
    addProfileEndpoint(std::move(record), defaults);
}

void TuningFileParser::addProfileEndpoint(std::unique_ptr<ProfileEndpoint> record,
                                          const EndpointDefaults& defaults) {
    if (record->find(IEQ_ENABLE) == nullptr) {
        const ParameterValues::Values unlessOff{record->getSelectedIeqPreset() != 0};
        record->set(IEQ_ENABLE, defaults.ieqEnable.empty() ? unlessOff : defaults.ieqEnable);
    }
    if (record->find(IEQ_AMOUNT) == nullptr) record->set(IEQ_AMOUNT, defaults.ieqAmount);

    // No element of the file gives this parameter: the endpoint decides it.
    record->set(VIRTUAL_BASS_TYPE, {record->getEndpoint() == Endpoint::SPEAKER});
    mRecords.add(std::move(record));
}

// These parameters were added to the format by the versions 3.3.0 and 3.4.0.
void TuningFileParser::setVersionDefaults(Profile& profile) const {
    const auto setMissing = [&](Parameter parameter, int value) {
        if (profile.find(parameter) == nullptr) profile.set(parameter, {value});
    };
    if (mFormatVersion.isBefore(3, 3, 0)) {
        setMissing(REVERB_SUPPRESSION_ENABLE, 0);
        setMissing(REVERB_SUPPRESSION_AMOUNT, 0);
    }
    if (mFormatVersion.isBefore(3, 4, 0)) setMissing(HEADPHONE_VIRTUALIZER_MODE, 1);
}

void TuningFileParser::parseTuning() {
    auto tuning = parseTuningAttributes();
    if (tuning == nullptr) return;

    // The device ids come first. The first other element, whatever its name, is the data.
    std::vector<std::unique_ptr<DeviceTuning>> devices;
    ElementsBelow children(mIterator);
    for (; children && mIterator.getNodeName() == kDeviceId; children.next()) {
        devices.push_back(parseDeviceTuning(tuning->getName()));
    }
    if (!children) {
        ALOGE(kNoDataMessage);
        return;
    }

    if (mRecords.claim(*tuning)) {
        for (ElementsBelow data(mIterator); data; data.next()) {
            parseParameter(*tuning, mIterator.getNodeName());
        }
        mRecords.add(std::move(tuning));
    }
    // The devices of a second tuning with this name use the first one.
    for (auto& device : devices) mRecords.add(std::move(device));
}

// Null, with a warning, if the name is too long.
std::unique_ptr<Tuning> TuningFileParser::parseTuningAttributes() const {
    static constexpr std::array<std::string_view, 5> kAttrNames{
        "name", "endpoint_type", "mono_device", "orientation", "output_channels"};
    const Attributes attributes = parseAttributes(kAttrNames);
    const std::string name = onOneLine(attributes[0]);
    if (name.size() > kMaxNameLength) {
        ALOGW("A tuning is ignored: its name has %zu bytes, more than %zu", name.size(),
              kMaxNameLength);
        return nullptr;
    }

    const Endpoint endpoint = endpointByName(attributes[1]).value_or(Endpoint::SPEAKER);
    auto tuning = std::make_unique<Tuning>(name, endpoint, attributes[2] == "true");
    tuning->set(ORIENTATION, {parseOrientation(attributes[3])});
    tuning->set(OUTPUT_CHANNELS, {string2Int(attributes[4])});
    return tuning;
}

std::unique_ptr<DeviceTuning> TuningFileParser::parseDeviceTuning(const std::string& tuning) const {
    static constexpr std::array<std::string_view, 2> kAttrNames{"id", "endpoint_port"};
    const Attributes attributes = parseAttributes(kAttrNames);
    return std::make_unique<DeviceTuning>(onOneLine(attributes[0]), onOneLine(attributes[1]),
                                          tuning);
}

std::string TuningFileParser::getProfileName(int index) const {
    if (index < 0 || index >= getNumOfProfiles()) return {};
    return mData.getProfiles()[static_cast<size_t>(index)]->getName();
}

}  // namespace velora
