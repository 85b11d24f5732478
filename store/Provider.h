#pragma once

#include "model/Port.h"
#include "store/DatabaseHelper.h"

#include <array>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// The settings store as the rest of the system sees it: loads, saves, resets and creates records,
/// choosing the right copy of each, and keeps the configuration values.
///
/// Created by the context manager and used under its callers' locks, by one thread at a time. Owns
/// every record that it hands out. Those of profiles and presets stay the same objects, refilled by
/// each load, until `init`; tunings until the end; device tunings until they are reloaded. Failures
/// are logged below; loading a record without a row leaves it as it was, and saving null does
/// nothing.
class Provider {
public:
    /// The copies of a record.
    static constexpr std::string_view kDefaultName = "default";  ///< factory: never overwritten
    static constexpr std::string_view kCustomName = "custom";    ///< the user's, which wins
    static constexpr std::string_view kOemName = "oem";          ///< from the maker's extra file

    /// Keys of the configuration; a port's selected device stands under the port's name.
    static constexpr std::string_view kSignature = "signature";
    static constexpr std::string_view kSelectedProfile = "Profile";
    static constexpr std::string_view kSfxState = "State";
    static constexpr std::string_view kDatabaseVersion = "database_version";
    static constexpr std::string_view kFormatVersion = "version";
    static constexpr std::string_view kZenithGameSystemGain = "ZenithGameSystemGain";

    /// Layout of the database that this code writes.
    static constexpr std::string_view kExpectedDatabaseVersion = "1";

    /// The three endpoint records of a profile, at the index of their endpoint.
    using Endpoints = std::array<ProfileEndpoint*, kEndpoints.size()>;

    Provider();
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;
    virtual ~Provider();

    /// Makes the tables that aren't there.
    virtual void initDatabase();
    /// Makes the records of all profiles, 0 to the largest number that is stored, without values;
    /// one without a row has no name. 0, or -22 when the database has no profiles. Records of
    /// profiles and presets that were handed out before are gone.
    virtual int init();
    virtual void clear();
    /// What is written between the two is stored as a whole or not at all. Brackets count.
    virtual void beginTransaction();
    /// Begins a bracket for reads, ended in the same way: they see one state of the store. In it
    /// `init` also fills the records, all in one pass, and loading one of a profile reads nothing.
    virtual void beginReading();
    virtual bool commitTransaction();
    virtual void abortTransaction();
    virtual void clearOemTunings();
    virtual void clearOemDeviceTunings();

    /// Nothing was ever stored.
    virtual bool isEmpty() const;
    /// The database file was found damaged; `replaceDamaged` puts it aside and starts an empty one.
    virtual bool isDamaged() const;
    virtual void replaceDamaged();
    /// How many times something that is stored couldn't be read; what was answered then isn't what
    /// is stored.
    virtual size_t failedReads() const;

    /// The layout is not the expected one, or there is none.
    virtual bool isDatabaseVersionChanged();
    /// The tables are there as the expected layout has them, with a factory profile.
    virtual bool isComplete();

    /// Stores the signature with the configuration of a fresh store: profile 0, effect on.
    virtual void setDefaultXmlSignature(const std::string& signature);
    virtual std::string getDefaultXmlSignature();
    virtual void setDefaultXmlFormatVersion(const std::string& version);
    virtual std::string getDefaultXmlFormatVersion();

    virtual int getNumOfProfiles() const;
    virtual int getNumOfIeqPresets() const;

    // Null for a profile that there isn't.
    virtual Profile* loadDefaultProfile(int profileId);
    virtual Profile* loadProfile(int profileId);
    virtual GeqPreset* loadDefaultGeqPreset(int profileId);
    virtual GeqPreset* loadGeqPreset(int profileId);
    virtual ProfileEndpoint* loadProfileEndpoint(int profileId, Endpoint endpoint);
    /// All null for a profile that there isn't.
    virtual Endpoints loadDefaultProfileEndpoints(int profileId);
    virtual Endpoints loadProfileEndpoints(int profileId);
    /// One of the presets 0 to the count; preset 0, with an error logged, for any other number.
    virtual IeqPreset* loadIeqPreset(int presetId);

    /// Stores the record as the user's copy.
    virtual void save(GeqPreset* preset);
    virtual void save(Profile* profile);
    virtual void save(ProfileEndpoint* endpoint);

    /// Fills the record from the factory copy and returns it. Nothing is stored.
    virtual GeqPreset* reset(GeqPreset* preset);
    virtual Profile* reset(Profile* profile);
    virtual ProfileEndpoint* reset(ProfileEndpoint* endpoint);

    // Store a record of a tuning file: those that the user may change as factory and as user's
    // copy.
    virtual void create(IeqPreset* preset);
    virtual void create(GeqPreset* preset);
    virtual void create(Profile* profile);
    virtual void create(ProfileEndpoint* endpoint);
    virtual void create(Tuning* tuning, std::string_view customName);
    virtual void create(DeviceTuning* deviceTuning, std::string_view customName);

    virtual bool isSfxOn();
    virtual void setSfxOn(bool on);
    /// -1 when none is stored.
    virtual int getSelectedProfile();
    virtual void setSelectedProfile(int profileId);
    virtual int getZenithGameSystemGain();
    virtual void setZenithGameSystemGain(int gain);

    // The selected device of a port, by the port's name.
    virtual void setDeviceTuning(std::string_view port, std::string_view device);  ///< a new row
    virtual void updateDeviceTuning(std::string_view port, std::string_view device);
    virtual std::string getDeviceTuning(std::string_view port);

    /// The devices of a port in the order of the tuning files.
    virtual std::vector<DeviceTuning*> loadDeviceTuningsForPort(Port port);
    /// The tuning of a device of a port that was loaded; null if there is none.
    virtual Tuning* loadTuningForDevice(const std::string& device);
    /// Reads all devices anew, and the tunings that were handed out: these stay the same objects,
    /// but one that has no row any more isn't handed out again.
    virtual void reloadCachedDeviceTunings();

private:
    /// One copy of everything that a profile has.
    struct ProfileRecords {
        ProfileRecords(int profileId, const std::string& name);

        Profile profile;
        std::array<ProfileEndpoint, kEndpoints.size()> endpoints;
        GeqPreset geqPreset;
    };
    using Devices = std::vector<std::unique_ptr<DeviceTuning>>;

    ProfileRecords* recordsOf(int profileId, std::string_view customName);
    ProfileRecords* findRecords(int profileId, std::string_view customName) const;
    void readAhead();
    Profile* loadProfile(int profileId, std::string_view customName);
    GeqPreset* loadGeqPreset(int profileId, std::string_view customName);
    Endpoints loadProfileEndpoints(int profileId, std::string_view customName);
    template <typename Record, typename Query>
    Record* resetFrom(Record* record, Query query);
    template <typename Record>
    void createCopies(Record* record);
    void loadDevices(Port port);
    const DeviceTuning* findDevice(const std::string& device) const;

    DatabaseHelper mDatabase;
    // Indexed by profile number.
    std::vector<std::unique_ptr<ProfileRecords>> mDefaults;
    std::vector<std::unique_ptr<ProfileRecords>> mCustoms;
    std::vector<std::unique_ptr<IeqPreset>> mIeqPresets{
        1};  ///< 0 to the count; null until asked for
    int mNumOfIeqPresets = 0;
    bool mReading = false;    ///< in a bracket for reads
    bool mReadAhead = false;  ///< in it the records of all profiles are as stored
    std::map<Port, Devices> mDeviceTunings;
    std::map<std::string, std::unique_ptr<Tuning>> mTunings;  ///< by name
    std::vector<std::unique_ptr<Tuning>> mGoneTunings;        ///< handed out once
};

}  // namespace velora
