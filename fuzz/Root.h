#pragma once

#include "tests/support/TestFiles.h"
#include "util/RootPrefix.h"

#include <filesystem>
#include <string>
#include <string_view>

#include <log/log.h>

namespace velora::fuzz {

/// A fresh directory as the root of all files, with a tuning file of the source tree. Everything
/// that is logged is formatted, as the formats are to be checked, too, and then dropped.
class Root {
public:
    explicit Root(std::string_view tuningFile) {
        std::filesystem::create_directories(database().parent_path());
        mDir.write("odm/etc/velora/multimedia_velora_kiv_default.xml",
                   test::contentsOf(test::sourceFile(tuningFile)));
        setRootPrefix(mDir.path().string());
        __android_log_set_logger([](const __android_log_message*) {});
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    }

    std::filesystem::path database() const {
        return mDir.path() / "data/vendor/velora/kiv_sqlite3.db";
    }

private:
    const test::TempDir mDir;
};

}  // namespace velora::fuzz
