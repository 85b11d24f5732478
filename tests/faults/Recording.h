#pragma once

#include "tests/faults/Disk.h"

#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace velora::test {

/// The files of a directory that has no directories in it: contents by name.
using Files = std::map<std::string, std::string>;

Files readFiles(const std::filesystem::path& directory);
/// Replaces the directory by one with these files.
void writeFiles(const std::filesystem::path& directory, const Files& files);

struct Record {
    DiskRecord::Kind kind;
    uint64_t offset;
    std::string path;
    std::string data;
};

/// The recording of a disk, empty if there is no such file.
std::vector<Record> readRecording(const std::string& file);

/// What a loss of power does to changes that were not synchronised: all of them are there, none, or
/// some by chance. Of bytes these are any sectors, of changes of names the first ones.
enum class Unsynchronised { KEPT, DROPPED, TORN };

/// The contents of a disk, according to its records.
class DiskState {
public:
    /// With these files, all synchronised.
    explicit DiskState(const Files& files);

    /// The next record, which must remain valid.
    void take(const Record& record);
    /// The files that a loss of power now would leave.
    Files lose(Unsynchronised bytes, Unsynchronised names, std::minstd_rand& dice) const;

private:
    /// A file's synchronised contents, and the changes since.
    struct File {
        std::string contents;
        std::vector<const Record*> changes{};
    };
    using Names = std::map<std::string, std::shared_ptr<File>>;
    struct NameChange {
        const Record* record;
        std::shared_ptr<File> created;
    };

    static void apply(const NameChange& change, Names& names);

    Names mStored;   ///< the names that are synchronised
    Names mCurrent;  ///< the names that the process sees
    std::vector<NameChange> mChanges;
};

}  // namespace velora::test
