#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <velora/RootPrefix.h>

namespace velora::bench {

/// A fresh directory as the root of all files, with a tuning file made of the sample's: `times` as
/// many tunings and devices, under names of their own.
class Root {
public:
    explicit Root(int times) {
        std::string name = std::filesystem::temp_directory_path() / "velora-bench-XXXXXX";
        mPath = mkdtemp(name.data());
        std::filesystem::create_directories(mPath / "data/vendor/velora");
        std::filesystem::create_directories(tuningFile().parent_path());
        std::ofstream(tuningFile(), std::ios::binary) << tuningXml(times);
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
    static std::string tuningXml(int times) {
        std::ostringstream text;
        text << std::ifstream(VELORA_SOURCE_DIR "/data/multimedia_velora_kiv_default.xml").rdbuf();
        const std::string sample = text.str();
        const size_t first = sample.find("<tuning ");
        const size_t end = sample.rfind("</tuning>") + std::string("</tuning>").size();
        std::string xml = sample.substr(0, end);
        for (int i = 1; i < times; ++i) {
            std::string tunings = sample.substr(first, end - first);
            for (const std::string name : {"<tuning name=\"", "<device_id id=\""}) {
                for (size_t at = 0; (at = tunings.find(name, at)) != std::string::npos;) {
                    at += name.size();
                    tunings.insert(at, "n" + std::to_string(i) + "_");
                }
            }
            xml += tunings;
        }
        return xml + sample.substr(end);
    }

    std::filesystem::path mPath;
};

}  // namespace velora::bench
