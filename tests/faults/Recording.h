#pragma once

#include "tests/faults/Disk.h"

#include <filesystem>
#include <map>
#include <random>
#include <span>
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
using Records = std::vector<Record>;

/// The recording of a disk, empty if there is no such file.
Records readRecording(const std::string& file);

/// What a loss of power does to bytes that were not synchronised: all of them are there, none, or
/// any sectors by chance.
enum class Unsynchronised { KEPT, DROPPED, TORN };

/// The files that a loss of power leaves after these records. The disk had the files `before` at
/// first. With `keepsNames`, changes of names that were not synchronised are there.
Files afterPowerLoss(const Files& before, std::span<const Record> records, Unsynchronised bytes,
                     bool keepsNames, std::minstd_rand& dice);

}  // namespace velora::test
