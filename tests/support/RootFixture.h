#pragma once

#include "store/DatabaseHelper.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Root.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>

namespace velora::test {

/// A fresh directory as the root of all files, the tuning files to install there, and the log.
class RootFixture : public testing::Test {
protected:
    void install(const std::string& xml) { dir.install(xml); }
    void uninstall() { std::filesystem::remove_all(dir.path() / "odm"); }
    void installOem(const std::string& xml) { dir.write("data/vendor/velora/kiv-extra.xml", xml); }

    /// Changes the store, as another process would.
    static void changeStore(const std::string& sql) {
        EXPECT_EQ(DatabaseHelper("kiv_sqlite3.db").execSQL(sql), 0);
    }
    /// Locks the store against writing, as another process would, until the result is destroyed.
    static std::unique_ptr<DatabaseHelper> holdStore() {
        auto other = std::make_unique<DatabaseHelper>("kiv_sqlite3.db");
        other->beginTransaction();
        return other;
    }

    const std::string sample = contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml"));
    const std::string extra = contentsOf(sourceFile("data/kiv-extra.xml"));
    LogCapture log;
    const Root dir;
    const std::string database = dir.database();
};

}  // namespace velora::test
