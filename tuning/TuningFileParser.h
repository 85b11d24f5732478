#pragma once

#include "model/DeviceData.h"
#include "tuning/FormatVersion.h"
#include "tuning/TagIterator.h"
#include "tuning/TuningRecords.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// Reads one tuning file into records: tunings with their device tunings, profiles with their
/// endpoints, presets, and the file's versions. docs/tuning-file.md describes the format.
///
/// Used by one thread. Owns every record that it read; the DeviceData lists them and is valid as
/// long as the parser, or until another file is set. Every record is complete: it carries each
/// parameter of its database table, with an empty list where the file gives none, and every profile
/// has its three endpoints and its GEQ preset. Only opening fails by a result; afterwards, what
/// can't be read is skipped, with a log line where the author of the file would want to know.
class TuningFileParser {
public:
    TuningFileParser() = default;
    /// Opens `path`. If that fails, `parseTuningFile` does nothing and `isParsed` stays false. The
    /// vendor's interface has this; the product itself calls `setTuningFile`.
    explicit TuningFileParser(const std::string& path) { static_cast<void>(setTuningFile(path)); }

    /// Opens another file and destroys the records of the one before. Returns 0; -22 if it can't be
    /// read as XML, -19 if it has no root.
    [[nodiscard]] int setTuningFile(const std::string& path);

    /// Reads the whole file and closes it. Does nothing without an open file.
    void parseTuningFile();
    /// Part of the vendor's contract, without a caller here.
    bool isParsed() const { return mIsParsed; }

    /// What was read; empty before that. Never null.
    DeviceData* getDeviceData() { return &mData; }

    /// Number of profiles, and the name of the one at `index` in the order of the file, or an empty
    /// name if there is none. The vendor's interface has them; the product itself doesn't call
    /// them.
    int getNumOfProfiles() const { return static_cast<int>(mData.getProfiles().size()); }
    std::string getProfileName(int index) const;

    /// Number of an IEQ preset by its name. 0 ("off"), with an error logged, for an unknown name.
    static int getIeqPresetIdByName(std::string_view name);

private:
    using Attributes = std::vector<std::string>;

    /// What a profile gives to its endpoints.
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
    void setVersionDefaults(Profile& profile) const;
    void parseTuning();
    std::unique_ptr<Tuning> parseTuningAttributes() const;
    std::unique_ptr<DeviceTuning> parseDeviceTuning(const std::string& tuning) const;

    FormatVersion parseVersion() const;
    Attributes parseAttributes(TagIterator::Names names) const;
    int parseIncludedIeqPreset() const;
    void parseParameter(ParameterValues& record, std::string_view element);

    TagIterator mIterator;
    bool mIsOpen = false;
    bool mIsParsed = false;
    FormatVersion mFormatVersion;
    TuningRecords mRecords;
    DeviceData mData;  ///< lists mRecords
};

}  // namespace velora
