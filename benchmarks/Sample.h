#pragma once

#include "util/RootPrefix.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace velora::bench {

/// The size of a tuning file, as multiples of the sample's elements.
struct Scale {
    int tunings = 1;   ///< including their devices
    int profiles = 1;  ///< including their endpoints
};

/// A temporary directory that is the root of all files of this process, and is removed by the
/// destructor. It contains a tuning file of the given scale, made from the sample; the copies of
/// elements have unique names and numbers.
class Root {
public:
    static constexpr int kProfiles = 5;  ///< number of profiles in the sample

    explicit Root(Scale scale = {}) {
        std::string name = std::filesystem::temp_directory_path() / "velora-bench-XXXXXX";
        mPath = mkdtemp(name.data());
        std::filesystem::create_directories(mPath / "data/vendor/velora");
        std::filesystem::create_directories(tuningFile().parent_path());
        std::ofstream(tuningFile(), std::ios::binary) << tuningXml(scale);
        setRootPrefix(mPath.string());
    }
    ~Root() { std::filesystem::remove_all(mPath); }
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

    std::string path() const { return mPath.string(); }
    std::filesystem::path tuningFile() const {
        return mPath / "odm/etc/velora/multimedia_velora_kiv_default.xml";
    }
    std::filesystem::path database() const { return mPath / "data/vendor/velora/kiv_sqlite3.db"; }

private:
    /// Appends copies of all elements of a kind, so that there are `times` as many. In the i-th
    /// copy, `rename(copy, at, i)` changes the name or number that follows each of the `marks`, at
    /// the position `at`.
    template <typename Rename>
    static void repeat(std::string& xml, const std::string& kind, int times,
                       const std::vector<std::string>& marks, Rename rename) {
        const size_t first = xml.find("<" + kind + " ");
        const std::string last = "</" + kind + ">";
        const std::string all = xml.substr(first, xml.rfind(last) + last.size() - first);

        std::string copies;
        for (int i = 1; i < times; ++i) {
            std::string copy = all;
            for (const std::string& mark : marks) {
                for (size_t at = 0; (at = copy.find(mark, at)) != std::string::npos;) {
                    rename(copy, at += mark.size(), i);
                }
            }
            copies += copy;
        }
        xml.insert(first + all.size(), copies);
    }

    static std::string tuningXml(Scale scale) {
        std::ostringstream text;
        text << std::ifstream(VELORA_SOURCE_DIR "/data/multimedia_velora_kiv_default.xml").rdbuf();
        std::string xml = text.str();

        repeat(xml, "tuning", scale.tunings, {"<tuning name=\"", "<device_id id=\""},
               [](std::string& copy, size_t at, int i) {
                   copy.insert(at, "n" + std::to_string(i) + "_");
               });
        // In the sample, profiles have numbers of one digit.
        repeat(xml, "profile", scale.profiles, {"<profile id=\""},
               [](std::string& copy, size_t at, int i) {
                   copy.replace(at, 1, std::to_string(copy[at] - '0' + kProfiles * i));
               });
        return xml;
    }

    std::filesystem::path mPath;
};

}  // namespace velora::bench
