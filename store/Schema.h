#pragma once

#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "store/DatabaseHelper.h"

#include <array>
#include <span>
#include <string_view>

namespace velora {

/// A column that is no parameter, and the line of a record's text form that fills it. Parameter
/// columns and their lines both have the parameter's name.
struct AttributeColumn {
    std::string_view column;
    std::string_view line;
};

/// One table: `_id`, `custom_name` where it has copies, its attributes, then its parameters in the
/// order of their numbers. `_id` is INTEGER, all others TEXT; there are no keys and no constraints.
struct TableSchema {
    TableType type;
    std::string_view name;
    bool hasCopies;
    std::span<const AttributeColumn> attributes;
    ParameterSet params;
    std::span<const std::string_view> key;  ///< the columns that a record is asked for by
};

namespace schema {

inline constexpr AttributeColumn kConfiguration[] = {{"key", "key"}, {"value", "value"}};
inline constexpr AttributeColumn kIeqPresets[] = {{"preset_id", "presetId"}, {"name", "name"}};
inline constexpr AttributeColumn kGeqPresets[] = {{"profile_id", "profileId"}};
inline constexpr AttributeColumn kProfiles[] = {
    {"profile_id", "profileId"},
    {"name", "name"},
    {"is_mobility", "mobility"},
    {"selected_geq_preset_id", "selectedGeqPreset"},
};
inline constexpr AttributeColumn kProfileEndpoints[] = {
    {"profile_id", "profileId"},
    {"endpoint", "endpoint"},
    {"selected_ieq_preset_id", "selectedIeqPreset"},
};
inline constexpr AttributeColumn kTunings[] = {
    {"name", "name"},
    {"endpoint", "endpoint"},
    {"is_mono", "mono"},
    {"is_readonly", "readonly"},
};
inline constexpr AttributeColumn kDeviceTunings[] = {
    {"device", "device"}, {"port", "port"}, {"tuning_id", "tuning"}};

inline constexpr std::string_view kIeqKey[] = {"preset_id", "custom_name"};
inline constexpr std::string_view kProfileKey[] = {"profile_id", "custom_name"};
inline constexpr std::string_view kEndpointKey[] = {"profile_id", "endpoint", "custom_name"};
inline constexpr std::string_view kTuningKey[] = {"name"};

// The number of an IEQ preset has a column of its own, so its value needs none.
inline constexpr ParameterSet kIeqParams = ParameterSet() | IEQ_FREQUENCY | IEQ_TARGET;

}  // namespace schema

inline constexpr std::array<TableSchema, kNumTables> kTables{{
    {TableType::CONFIGURATION, "configuration", false, schema::kConfiguration, {}, {}},
    {TableType::IEQ_PRESETS, "ieq_presets", true, schema::kIeqPresets, schema::kIeqParams,
     schema::kIeqKey},
    {TableType::GEQ_PRESETS, "geq_presets", true, schema::kGeqPresets, GeqPreset::kStoredParams,
     schema::kProfileKey},
    {TableType::PROFILES, "profiles", true, schema::kProfiles, Profile::kStoredParams,
     schema::kProfileKey},
    {TableType::PROFILE_ENDPOINTS, "profile_endpoints", true, schema::kProfileEndpoints,
     ProfileEndpoint::kStoredParams, schema::kEndpointKey},
    {TableType::TUNINGS, "tunings", true, schema::kTunings, Tuning::kStoredParams,
     schema::kTuningKey},
    {TableType::DEVICE_TUNINGS, "device_tunings", true, schema::kDeviceTunings, {}, {}},
}};

constexpr const TableSchema& schemaOf(TableType table) {
    return kTables[static_cast<size_t>(table)];
}

static_assert([] {
    for (size_t i = 0; i < kTables.size(); ++i) {
        if (kTables[i].type != static_cast<TableType>(i)) return false;
    }
    return true;
}());

}  // namespace velora
