#pragma once

#include "tests/support/TestFiles.h"
#include "util/RootPrefix.h"

namespace velora::test {

/// A fresh directory as the root of all files.
class Root : public TempDir {
public:
    Root() {
        setRootPrefix(path().string());
        std::filesystem::create_directories(rooted(kDataDirectory));
    }
    /// With the tuning file `sample` of the source tree.
    explicit Root(std::string_view sample) : Root() { install(contentsOf(sourceFile(sample))); }

    void install(std::string_view xml) const {
        write("odm/etc/velora/multimedia_velora_kiv_default.xml", xml);
    }
    std::string database() const { return path() / "data/vendor/velora/kiv_sqlite3.db"; }
};

}  // namespace velora::test
