#pragma once

#include "model/Port.h"
#include "store/DatabaseHelper.h"
#include "store/Transaction.h"
#include "store/UserSettings.h"

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// The settings store as the rest of the system sees it: loads, saves, resets and creates records,
/// choosing the right copy of each, and keeps the configuration values.
///
/// Owned by the context manager. Any thread may read or write the store; everything else, the
/// records included, is used under the callers' locks. Owns every record that it returns. Those of
/// profiles and presets remain the same objects, which each load fills again, until `init`; tunings
/// remain until the provider is destroyed, device tunings until they are reloaded. Failures are
/// logged by the database; loading a record that has no row leaves it unchanged, and saving null
/// does nothing.
class Provider {
public:
    // The copies of a record.
    static constexpr std::string_view kDefaultName = kFactoryCopy;  ///< never overwritten
    static constexpr std::string_view kCustomName = kUserCopy;      ///< what the user sees
    static constexpr std::string_view kOemName = kOemCopy;          ///< replaced as a whole

    // Keys of the configuration. The selected device of a port has the port's name as its key.
    static constexpr std::string_view kSignature = "signature";
    static constexpr std::string_view kSelectedProfile = "Profile";
    static constexpr std::string_view kSfxState = "State";
    static constexpr std::string_view kDatabaseVersion = "database_version";
    static constexpr std::string_view kFormatVersion = "version";
    static constexpr std::string_view kZenithGameSystemGain = "ZenithGameSystemGain";
    static constexpr std::string_view kOemSignature = "extra_signature";

    /// Version of the tables that this code writes.
    static constexpr std::string_view kExpectedDatabaseVersion = "1";

    /// The three endpoint records of a profile, at the index of their endpoint.
    using Endpoints = std::array<ProfileEndpoint*, kEndpoints.size()>;

    /// Opens the database, or creates it.
    Provider();
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;
    virtual ~Provider();

    /// Creates the tables that don't exist.
    virtual void initDatabase();
    /// Creates the records of all profiles, 0 to the largest number that is stored, without values;
    /// one that has no row has no name. 0, or -22 if the database has no profiles. Destroys the
    /// records of profiles and presets that were returned before.
    virtual int init();
    /// Drops all tables.
    virtual void clear();

    // A `Transaction` is the way to use these three: what is written in between is stored as a
    // whole or not at all. Transactions nest.
    virtual void beginTransaction();
    virtual bool commitTransaction();
    virtual void abortTransaction();
    /// The reads during the life of the session see one state of the store.
    [[nodiscard]] virtual ReadSession startReading();

    /// See `Database`.
    virtual void primeLog();
    virtual void checkpoint();

    virtual void clearOemTunings();
    virtual void clearOemDeviceTunings();

    /// The file had no table when it was opened: nothing was ever stored.
    virtual bool isEmpty() const;
    /// The file is no database, a damaged one, or has a row that is damaged.
    virtual bool isDamaged() const;
    /// Sets the file aside, starts an empty one, and returns what the user has set, as far as it is
    /// intact. If the file can't be renamed, there is no store.
    virtual UserSettings replaceDamaged();
    /// What the user has set, from a store whose tables are not those of this version.
    virtual UserSettings salvage();
    /// The tables are not of the expected version, or there are none.
    virtual bool isDatabaseVersionChanged();
    /// All tables exist as this version creates them, with a factory profile.
    virtual bool isComplete();

    /// Stores the signature, and the configuration of a new store: profile 0, effect on.
    virtual void setDefaultXmlSignature(const std::string& signature);
    virtual std::string getDefaultXmlSignature();
    virtual void setDefaultXmlFormatVersion(const std::string& version);
    virtual std::string getDefaultXmlFormatVersion();

    /// The signature of the extra tuning file whose tunings are stored. Empty if that isn't known,
    /// because somebody else has changed the tunings since.
    virtual std::string getOemSignature();
    virtual void setOemSignature(const std::string& signature);

    virtual int getNumOfProfiles() const;
    virtual int getNumOfIeqPresets() const;

    /// One copy of everything that a profile has. All null for a profile that doesn't exist.
    struct Records {
        Profile* profile = nullptr;
        Endpoints endpoints{};
        GeqPreset* geqPreset = nullptr;
    };
    /// Fills the records of all profiles, both copies, all IEQ presets, devices and tunings, in one
    /// pass over each table. What can't be read is logged, and its records remain unchanged.
    virtual void loadAll();
    // The records of a profile as they were last filled. Nothing is read.
    virtual Records getDefaultRecords(int profileId) const;
    virtual Records getRecords(int profileId) const;

    // Null for a profile or an endpoint that doesn't exist.
    virtual Profile* loadDefaultProfile(int profileId);
    virtual Profile* loadProfile(int profileId);
    /// Not read again after `loadAll`.
    virtual GeqPreset* loadDefaultGeqPreset(int profileId);
    virtual GeqPreset* loadGeqPreset(int profileId);
    /// Part of the vendor's contract, without a caller here.
    virtual ProfileEndpoint* loadProfileEndpoint(int profileId, Endpoint endpoint);
    // All null for a profile that doesn't exist.
    virtual Endpoints loadDefaultProfileEndpoints(int profileId);
    virtual Endpoints loadProfileEndpoints(int profileId);
    /// One of the presets 0 to the count, which is included; preset 0, with an error in the log,
    /// for any other number. Not read again after `loadAll`.
    virtual IeqPreset* loadIeqPreset(int presetId);

    // Store the record as the user's copy. It remains dirty if that fails.
    virtual void save(GeqPreset* preset);
    virtual void save(Profile* profile);
    virtual void save(ProfileEndpoint* endpoint);

    /// Stores all of `settings` in one transaction. False if that failed: nothing of them is
    /// stored.
    [[nodiscard]] virtual bool storeSettings(UserSettings& settings);
    /// Fills what the records of `settings` don't contain from the stored factory copies.
    virtual void completeSettings(UserSettings& settings);

    // Fill the record from the stored factory copy and return it. Nothing is stored.
    virtual GeqPreset* reset(GeqPreset* preset);
    virtual Profile* reset(Profile* profile);
    virtual ProfileEndpoint* reset(ProfileEndpoint* endpoint);

    // Store a new record of a tuning file. What the user may change is stored twice, as the factory
    // copy and as the user's. A text with a single quote costs the record its row; any other
    // failure fails the current transaction. Both are logged.
    virtual void create(IeqPreset* preset);
    virtual void create(GeqPreset* preset);
    virtual void create(Profile* profile);
    virtual void create(ProfileEndpoint* endpoint);
    virtual void create(Tuning* tuning, std::string_view customName);
    virtual void create(DeviceTuning* deviceTuning, std::string_view customName);

    virtual bool isSfxOn();
    virtual void setSfxOn(bool on);
    /// -1 if none is stored.
    virtual int getSelectedProfile();
    virtual void setSelectedProfile(int profileId);
    virtual int getZenithGameSystemGain();
    virtual void setZenithGameSystemGain(int gain);  ///< always a new row

    // The selected device of a port, by the port's name.
    virtual void setDeviceTuning(std::string_view port,
                                 std::string_view device);  ///< always a new row
    virtual void updateDeviceTuning(std::string_view port, std::string_view device);
    virtual std::string getDeviceTuning(std::string_view port);

    /// The devices of a port in the order of the tuning files. Read once.
    virtual std::vector<DeviceTuning*> loadDeviceTuningsForPort(Port port);
    /// The tuning of a device, whose port must have been loaded; null if there is none. Read once,
    /// and not after `loadAll`.
    virtual Tuning* loadTuningForDevice(const std::string& device);
    /// The names that the default tuning file defines.
    struct FactoryNames {
        std::set<std::string> tunings;
        std::set<std::string> devices;
    };
    /// Nullopt if they can't be read.
    virtual std::optional<FactoryNames> readFactoryNames();

    /// `readTunings` and `useTunings`.
    virtual void reloadCachedDeviceTunings();

    /// The devices of all ports, and all tunings.
    struct Tunings {
        std::map<Port, std::vector<std::unique_ptr<DeviceTuning>>> devices;
        std::map<std::string, std::unique_ptr<Tuning>> tunings;  ///< by name
    };
    /// Reads them without changing what was loaded.
    virtual Tunings readTunings();
    /// Replaces what was loaded. Tunings that were returned before remain the same objects, with
    /// new values; one that is gone isn't returned again, but remains valid.
    virtual void useTunings(Tunings tunings);

private:
    /// The objects of one copy of a profile.
    struct ProfileRecords {
        ProfileRecords(int profileId, const std::string& name);
        Records pointers();
        void setChanged(bool changed);

        Profile profile;
        std::array<ProfileEndpoint, kEndpoints.size()> endpoints;
        GeqPreset geqPreset;
    };

    void createProfileRecords(const std::map<int, std::string>& names);
    ProfileRecords* findRecords(int profileId, std::string_view customName) const;
    Records recordsOf(int profileId, std::string_view customName) const;
    std::unique_ptr<IeqPreset>& findIeqPreset(int presetId);
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
    /// Presets 0 to the count, which is included; each null until it is first loaded.
    std::vector<std::unique_ptr<IeqPreset>> mIeqPresets{1};
    bool mIsLoaded = false;  ///< by `loadAll`, since the last `init`
    /// The devices of the ports, and the tunings, that were loaded. A tuning that has no row is
    /// null.
    Tunings mTunings;
    /// Tunings without a row, which somebody may still hold.
    std::vector<std::unique_ptr<Tuning>> mRemovedTunings;
};

}  // namespace velora
