#pragma once

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// A disk that stands between a process and the kernel: it lets calls fail, makes synchronising
// slow, and records what is written. Disk.cpp replaces the functions of libc that work on files,
// for this program and its libraries if it is linked into it, or for any other program if its
// shared library is preloaded with `LD_PRELOAD`. It is a simulation: no file on it is really
// synchronised.

namespace velora::test {

/// The calls that are counted and can fail. Functions that differ only by "64" are one call.
enum class DiskCall { OPEN, READ, PREAD, WRITE, PWRITE, FSYNC, FDATASYNC, FTRUNCATE, UNLINK, ANY };

/// The state of a disk, in a file that all processes map that use or control it. Any thread of any
/// of them may use it, but the two paths must be set before a process uses the disk.
struct Disk {
    static constexpr size_t kPathSize = 512;

    /// Only files in it are affected, and itself. An absolute path without links.
    char directory[kPathSize];
    /// The file that records are appended to (`DiskRecord`), outside the directory. Empty: none.
    char recording[kPathSize];

    /// Affected calls so far, by `DiskCall`.
    std::array<std::atomic<uint64_t>, static_cast<size_t>(DiskCall::ANY) + 1> calls;

    std::atomic<uint64_t> failAt;     ///< number of the call that fails, from 1. 0: none
    std::atomic<DiskCall> failKind;   ///< only calls of this kind are counted for it
    std::atomic<uint64_t> failEvery;  ///< every how many of the later ones fail, too. 0: none
    std::atomic<int> error;           ///< errno of the failure
    std::atomic<uint64_t> failures;   ///< so far

    std::atomic<uint32_t> syncMs;  ///< how long fsync and fdatasync take
    std::atomic<bool> isReadOnly;  ///< opening a file to write it, and renaming one, fails

    uint64_t count(DiskCall call) const { return calls[static_cast<size_t>(call)]; }
    uint64_t writes() const { return count(DiskCall::WRITE) + count(DiskCall::PWRITE); }
    uint64_t syncs() const { return count(DiskCall::FSYNC) + count(DiskCall::FDATASYNC); }

    /// Lets the next call of a kind fail, and `every` how many of the later ones.
    void failNext(DiskCall call, uint64_t every = 0) {
        failKind = call;
        failEvery = every;
        error = EIO;
        failAt = count(call) + 1;
    }
    void clearFault() { failAt = 0; }
};

/// The head of one record. The bytes of its path follow, and those of its data.
struct DiskRecord {
    enum Kind : uint32_t {
        CREATE,    ///< a new file
        WRITE,     ///< `size` bytes at `offset`
        TRUNCATE,  ///< to `offset` bytes
        UNLINK,
        SYNC,  ///< of a file's contents, or with an empty path of the names in the directory
        MARK,  ///< a text of `markDisk`
    };

    Kind kind;
    uint32_t pathSize = 0;
    uint64_t offset = 0;
    uint64_t size = 0;  ///< of the data
};

/// Creates or opens the file of a disk, which stays mapped until the process ends. Null on failure.
Disk* openDisk(const char* file);
/// From now on this process, and those that it forks, use the disk; null: none. A preloaded library
/// uses the one whose file the environment variable VELORA_DISK names.
void useDisk(Disk* disk);
/// The disk of a test in this process, without faults, in use from now on. The next call resets it.
Disk& useFreshDisk(const std::string& directory);
/// Adds a text to the recording of the disk in use.
void markDisk(std::string_view text);

}  // namespace velora::test
