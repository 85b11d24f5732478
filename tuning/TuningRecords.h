#pragma once

#include "model/DeviceData.h"

#include <memory>
#include <string>
#include <tuple>
#include <unordered_set>
#include <utility>
#include <vector>

namespace velora {

/// The records that one tuning file yields, in the order of the file.
///
/// A record has a description, as in "profile 2": its kind with its number or name. No two records
/// have the same one. A reader therefore claims a record before it reads its contents, and adds it
/// afterwards. Device tunings have no description and are added only.
///
/// Owned by one TuningFileParser, used by its thread. Owns the records. Nothing fails: what is
/// wrong with a file is logged as a warning.
class TuningRecords {
public:
    /// Claimed records and device tunings of one file. Each takes memory and a row of the store,
    /// and a file of the largest size could have half a million. A usual file has some fifty.
    static constexpr size_t kMaxRecords = 10000;

    /// Reserves the description of `record`. False, with a warning, if an earlier record has it:
    /// the earlier one is the one to keep. False too if there are `kMaxRecords` already.
    template <typename Record>
    [[nodiscard]] bool claim(const Record& record) {
        return claimDescription(describe(record));
    }

    template <typename Record>
    bool isClaimed(const Record& record) const {
        return mDescriptions.contains(describe(record));
    }

    /// Adds a record, completed to exactly the parameters of its database table: empty lists for
    /// those that the file doesn't give, and a warning for each that is dropped.
    template <typename Record>
    void add(std::unique_ptr<Record> record) {
        warnOfDropped(describe(*record), record->completeTo(Record::kStoredParams));
        std::get<List<Record>>(mLists).push_back(std::move(record));
    }
    /// Drops the record if there are `kMaxRecords` already.
    void add(std::unique_ptr<DeviceTuning> record);

    /// Gives every profile that has no GEQ preset an empty one.
    void addMissingGeqPresets();

    /// Warns of numbers that are missing among the profiles and IEQ presets.
    void warnOfMissingNumbers() const;

    /// Sets the lists of `data` to these records, which remain owned here.
    void listIn(DeviceData& data) const;

private:
    template <typename Record>
    using List = std::vector<std::unique_ptr<Record>>;

    template <typename Record>
    const List<Record>& all() const {
        return std::get<List<Record>>(mLists);
    }
    template <typename Record>
    std::vector<Record*> pointers() const;

    static std::string describe(const Tuning& record);
    static std::string describe(const Profile& record);
    static std::string describe(const ProfileEndpoint& record);
    static std::string describe(const IeqPreset& record);
    static std::string describe(const GeqPreset& record);

    bool claimDescription(std::string description);
    bool isFull();
    static void warnOfDropped(const std::string& description, const ParameterSet& dropped);

    std::tuple<List<Tuning>, List<DeviceTuning>, List<Profile>, List<ProfileEndpoint>,
               List<IeqPreset>, List<GeqPreset>>
        mLists;
    std::unordered_set<std::string> mDescriptions;  ///< of the claimed records
    bool mHasWarnedOfLimit = false;
};

}  // namespace velora
