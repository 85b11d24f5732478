#define LOG_TAG "DatabaseHelper"

#include "store/RecordRows.h"

#include "model/DeviceTuning.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "util/Integers.h"

#include <algorithm>
#include <array>
#include <type_traits>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kInvalidTextMessage[] = "invalid string value";

/// A column that is no parameter, and how it is written from a record and read into one.
template <typename Record>
struct Attribute {
    std::string_view column;
    std::string (*write)(const Record& record);
    void (*read)(Record& record, const RowData& cell);  ///< null if it isn't read back
};

std::string columnText(int number) { return std::to_string(number); }

std::string columnText(bool value) { return value ? "1" : "0"; }

std::string columnText(Endpoint endpoint) { return std::string(endpointName(endpoint)); }

/// A name as earlier versions stored it, too: its first line without a comma at the end, and "1" or
/// "0" for the words of a boolean.
std::string columnText(const std::string& name) {
    if (name.find('\n') != std::string::npos) ALOGE(kInvalidTextMessage);
    std::string text = name.substr(0, name.find('\n'));
    if (text.ends_with(',')) text.pop_back();
    if (text == "true") return columnText(true);
    if (text == "false") return columnText(false);
    return text;
}

template <auto kGetter, typename Record>
std::string write(const Record& record) {
    return columnText((record.*kGetter)());
}

template <typename Record>
void readInto(Record& record, void (Record::*setter)(int), const RowData& cell) {
    (record.*setter)(cell.number());
}

template <typename Record>
void readInto(Record& record, void (Record::*setter)(bool), const RowData& cell) {
    (record.*setter)(cell.number() != 0);
}

template <typename Record>
void readInto(Record& record, void (Record::*setter)(std::string), const RowData& cell) {
    (record.*setter)(std::string(cell.text));
}

template <typename Record>
void readInto(Record& record, void (Record::*setter)(Endpoint), const RowData& cell) {
    if (const auto endpoint = endpointByName(cell.text)) (record.*setter)(*endpoint);
}

template <auto kSetter, typename Record>
void read(Record& record, const RowData& cell) {
    readInto(record, kSetter, cell);
}

/// How a type of record is stored: its table's name, the columns that a record is found by, its
/// attributes, and the parameters that follow them in the order of their numbers.
template <typename Record>
struct Layout;

template <>
struct Layout<IeqPreset> {
    static constexpr TableType kType = TableType::IEQ_PRESETS;
    static constexpr std::string_view kName = "ieq_presets";
    static constexpr std::array<std::string_view, 2> kKey{"preset_id", "custom_name"};
    static constexpr Attribute<IeqPreset> kAttributes[] = {
        {"preset_id", write<&IeqPreset::getPresetId>, nullptr},
        {"name", write<&IeqPreset::getName>, read<&IeqPreset::setName>},
    };
    // The value of `ieq_id` is the number of the preset, which has a column already.
    static constexpr ParameterSet kParams = ParameterSet() | IEQ_FREQUENCY | IEQ_TARGET;
};

template <>
struct Layout<GeqPreset> {
    static constexpr TableType kType = TableType::GEQ_PRESETS;
    static constexpr std::string_view kName = "geq_presets";
    static constexpr std::array<std::string_view, 2> kKey{"profile_id", "custom_name"};
    static constexpr Attribute<GeqPreset> kAttributes[] = {
        {"profile_id", write<&GeqPreset::getProfileId>, nullptr},
    };
    static constexpr ParameterSet kParams = GeqPreset::kStoredParams;
};

template <>
struct Layout<Profile> {
    static constexpr TableType kType = TableType::PROFILES;
    static constexpr std::string_view kName = "profiles";
    static constexpr std::array<std::string_view, 2> kKey{"profile_id", "custom_name"};
    static constexpr Attribute<Profile> kAttributes[] = {
        {"profile_id", write<&Profile::getProfileId>, nullptr},
        {"name", write<&Profile::getName>, read<&Profile::setName>},
        {"is_mobility", write<&Profile::isMobility>, read<&Profile::setMobility>},
        {"selected_geq_preset_id", write<&Profile::getSelectedGeqPreset>,
         read<&Profile::setSelectedGeqPreset>},
    };
    static constexpr ParameterSet kParams = Profile::kStoredParams;
};

template <>
struct Layout<ProfileEndpoint> {
    static constexpr TableType kType = TableType::PROFILE_ENDPOINTS;
    static constexpr std::string_view kName = "profile_endpoints";
    static constexpr std::array<std::string_view, 3> kKey{"profile_id", "endpoint", "custom_name"};
    static constexpr Attribute<ProfileEndpoint> kAttributes[] = {
        {"profile_id", write<&ProfileEndpoint::getProfileId>, nullptr},
        {"endpoint", write<&ProfileEndpoint::getEndpoint>, nullptr},
        {"selected_ieq_preset_id", write<&ProfileEndpoint::getSelectedIeqPreset>,
         read<&ProfileEndpoint::setSelectedIeqPreset>},
    };
    static constexpr ParameterSet kParams = ProfileEndpoint::kStoredParams;
};

template <>
struct Layout<Tuning> {
    static constexpr void (Tuning::*kSetEndpoint)(Endpoint) = &Tuning::setEndpoint;

    static constexpr TableType kType = TableType::TUNINGS;
    static constexpr std::string_view kName = "tunings";
    static constexpr std::array<std::string_view, 1> kKey{"name"};
    static constexpr Attribute<Tuning> kAttributes[] = {
        {"name", write<&Tuning::getName>, nullptr},
        {"endpoint", write<&Tuning::getEndpoint>, read<kSetEndpoint>},
        {"is_mono", write<&Tuning::isMono>, read<&Tuning::setMono>},
        {"is_readonly", write<&Tuning::isReadonly>, nullptr},
    };
    static constexpr ParameterSet kParams = Tuning::kStoredParams;
};

// A device tuning is made from its row, so nothing is read into one.
template <>
struct Layout<DeviceTuning> {
    static constexpr TableType kType = TableType::DEVICE_TUNINGS;
    static constexpr std::string_view kName = "device_tunings";
    static constexpr std::array<std::string_view, 0> kKey{};
    static constexpr Attribute<DeviceTuning> kAttributes[] = {
        {"device", write<&DeviceTuning::getDevice>, nullptr},
        {"port", write<&DeviceTuning::getPort>, nullptr},
        {"tuning_id", write<&DeviceTuning::getTuning>, nullptr},
    };
    static constexpr ParameterSet kParams = {};
};

template <typename Record>
Table recordTable() {
    Table table{Layout<Record>::kType, Layout<Record>::kName, {"custom_name"}, {}};
    for (const auto& attribute : Layout<Record>::kAttributes) {
        table.columns.push_back(attribute.column);
    }
    for (const Parameter parameter : Layout<Record>::kParams) {
        table.columns.push_back(parameterInfo(parameter).column);
    }

    for (const std::string_view column : Layout<Record>::kKey) {
        const auto place = std::find(table.columns.begin(), table.columns.end(), column);
        table.key.push_back(static_cast<size_t>(place - table.columns.begin()));
    }
    return table;
}

}  // namespace

const std::array<Table, kNumTables>& allTables() {
    static const auto* const kTables = new std::array<Table, kNumTables>{
        Table{TableType::CONFIGURATION, "configuration", {"key", "value"}, {}},
        recordTable<IeqPreset>(),
        recordTable<GeqPreset>(),
        recordTable<Profile>(),
        recordTable<ProfileEndpoint>(),
        recordTable<Tuning>(),
        recordTable<DeviceTuning>(),
    };
    return *kTables;
}

const Table& tableOf(TableType type) { return allTables()[static_cast<size_t>(type)]; }

template <typename Record>
const Table& tableOf() {
    return tableOf(Layout<Record>::kType);
}

template <typename Record>
std::vector<std::string> rowTexts(const Record& record, std::string_view copy) {
    std::vector<std::string> texts;
    texts.reserve(tableOf<Record>().columns.size());
    texts.emplace_back(copy);

    for (const auto& attribute : Layout<Record>::kAttributes) {
        texts.push_back(attribute.write(record));
    }
    if constexpr (std::is_base_of_v<ParameterValues, Record>) {
        for (const Parameter parameter : Layout<Record>::kParams) {
            texts.push_back(intVector2String(record.get(parameter)));
        }
    }
    return texts;
}

template <typename Record>
void readRow(std::span<const RowData> row, const ParameterNames& names, Record& record) {
    for (const RowData& cell : row) {
        if (const auto parameter = names.find(cell.column); parameter != names.end()) {
            record.set(parameter->second, cell.values());
            continue;
        }

        if (cell.column == "_id") record.setId(cell.integer);
        for (const auto& attribute : Layout<Record>::kAttributes) {
            if (attribute.column == cell.column && attribute.read != nullptr) {
                attribute.read(record, cell);
            }
        }
    }
}

template const Table& tableOf<IeqPreset>();
template const Table& tableOf<GeqPreset>();
template const Table& tableOf<Profile>();
template const Table& tableOf<ProfileEndpoint>();
template const Table& tableOf<Tuning>();
template const Table& tableOf<DeviceTuning>();

template std::vector<std::string> rowTexts(const IeqPreset&, std::string_view);
template std::vector<std::string> rowTexts(const GeqPreset&, std::string_view);
template std::vector<std::string> rowTexts(const Profile&, std::string_view);
template std::vector<std::string> rowTexts(const ProfileEndpoint&, std::string_view);
template std::vector<std::string> rowTexts(const Tuning&, std::string_view);
template std::vector<std::string> rowTexts(const DeviceTuning&, std::string_view);

template void readRow(std::span<const RowData>, const ParameterNames&, IeqPreset&);
template void readRow(std::span<const RowData>, const ParameterNames&, GeqPreset&);
template void readRow(std::span<const RowData>, const ParameterNames&, Profile&);
template void readRow(std::span<const RowData>, const ParameterNames&, ProfileEndpoint&);
template void readRow(std::span<const RowData>, const ParameterNames&, Tuning&);

}  // namespace velora
