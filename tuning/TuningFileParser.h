#pragma once

#include "model/DeviceData.h"
#include "tuning/FormatVersion.h"
#include "tuning/TagIterator.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace velora {

/// Reads one tuning file into records: tunings with their device tunings, profiles with their
/// endpoints, presets, and the file's versions. docs/tuning-file.md describes the format.
///
/// Used by one thread. Owns every record that it read; `DeviceData` lists them and stands as long.
/// Every record is complete: it carries each parameter of its database table, empty where the file
/// gives none. Every profile has its three endpoints and its GEQ preset. Opening may fail;
/// afterwards what can't be read is skipped, with a log line where an author would want to know.
class TuningFileParser {
public:
    TuningFileParser() = default;
    /// With a file to parse; whether it could be opened shows in `isParsed` afterwards.
    explicit TuningFileParser(const std::string& path) { setTuningFile(path); }

    /// Opens another file and forgets the records of the one before. 0; -22 for one that can't be
    /// read as XML, -19 for one without a root.
    int setTuningFile(const std::string& path);

    /// Reads the whole file and closes it. Does nothing without an open file.
    void parseTuningFile();
    bool isParsed() const { return mParsed; }

    /// What was read; empty before that.
    DeviceData* getDeviceData() { return &mContents.data; }

    int getNumOfProfiles() const { return static_cast<int>(mContents.profiles.size()); }
    /// Name of the profile at `index` in the order of the file; empty if there is none.
    std::string getProfileName(int index) const;

    /// Number of an IEQ preset by its name. 0 ("off"), with an error logged, for an unknown name.
    static int getIeqPresetIdByName(std::string_view name);

private:
    template <typename Record>
    using Owned = std::vector<std::unique_ptr<Record>>;
    using Attributes = std::vector<std::string>;

    /// What one file yields; its lists are in the order of the document.
    struct Contents {
        FormatVersion formatVersion;
        FormatVersion toolVersion;
        int zenithGameSystemGain = 0;
        Owned<Tuning> tunings;
        Owned<DeviceTuning> deviceTunings;
        Owned<Profile> profiles;
        Owned<ProfileEndpoint> profileEndpoints;
        Owned<IeqPreset> ieqPresets;
        Owned<GeqPreset> geqPresets;
        std::unordered_set<std::string> taken;  ///< the records that there are, in words
        DeviceData data;
    };

    /// What a profile hands to its endpoints.
    struct EndpointDefaults {
        int ieqPreset = 0;
        ParameterValues::Values ieqEnable;  ///< empty: on unless the endpoint's preset is 0
        ParameterValues::Values ieqAmount{0};
    };

    struct Section;
    static const Section kHeaderSections[];
    static const Section kRecordSections[];

    void parseSections(std::span<const Section> sections);
    void parseFormatVersion();
    void parseToolVersion();
    void parseZenithGameSystemGain();
    void parsePreset();
    void parseIeqPreset(const Attributes& attributes);
    void parseGeqPreset(const Attributes& attributes);
    void parseProfile();
    EndpointDefaults parseEndpointDefaults();
    void parseProfileEndpoint(int profileId, const EndpointDefaults& defaults);
    void addProfileEndpoint(std::unique_ptr<ProfileEndpoint> record,
                            const EndpointDefaults& defaults);
    void parseTuning();
    void parseData(ParameterValues& record);

    void setVersionDefaults(Profile& profile) const;
    void completeProfiles();
    void warnOfNumbering() const;
    void buildDeviceData();

    FormatVersion parseVersion() const;
    Attributes parseAttributes(TagIterator::Names names) const;
    int parseIncludedIeqPreset() const;
    void parseParameter(ParameterValues& record, std::string_view element);
    bool claim(const std::string& what);
    template <typename Record>
    void add(Owned<Record>& records, std::unique_ptr<Record> record, const std::string& what);

    TagIterator mIterator;
    bool mOpen = false;
    bool mParsed = false;
    Contents mContents;
};

}  // namespace velora
