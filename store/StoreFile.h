#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <system_error>

namespace velora {

/// The file of a store, with the files that SQLite keeps beside it: its log ("-wal"), the index of
/// the log ("-shm"), and the journal of earlier releases ("-journal"). It knows nothing of their
/// contents.
///
/// Immutable; the database owns it. Nothing throws.
class StoreFile {
public:
    explicit StoreFile(const std::string& path) : mPath(path) {}

    const std::string& path() const { return mPath.native(); }

    /// Why the file must not be opened, and what to do about it: it, or a file beside it, is a
    /// symbolic link, no plain file, or a file of another user, or its directory can't be examined.
    /// None if it may be opened or created.
    std::optional<std::string> refusal() const;

    /// Bytes of the file; 0 if there is none.
    uintmax_t size() const;

    /// Identifies the log among all files; 0 if there is none.
    uint64_t logNumber() const;

    /// Reads every byte of the file and of those beside it. False if one of them can't be read.
    /// SQLite must not have the file open: closing a descriptor releases the locks of the process.
    bool isReadable() const;

    /// Renames the file, and the files beside it, by appending ".damaged-N", where N follows the
    /// highest number in use, and removes all but the newest four of the renamed files. Returns the
    /// new path; none, with `*error` set and nothing changed, if the file can't be renamed.
    std::optional<std::string> setAside(std::error_code* error) const;

private:
    using Numbers = std::set<uint64_t>;

    Numbers numbersSetAside(std::error_code* error) const;
    std::string pathSetAside(uint64_t number) const;

    const std::filesystem::path mPath;
};

}  // namespace velora
