#pragma once

#include <atomic>
#include <cerrno>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace velora::test {

/// What the disk does, for the whole program that includes this, in one source file. The functions
/// below take the place of the C library's, for SQLite too.
class Disk {
public:
    std::atomic<int> syncs = 0;         ///< so far
    std::atomic<int> failingReads = 0;  ///< reads that will fail
    std::atomic<int> goodReads = 0;     ///< before each of these
    std::atomic<int> failingSyncs = 0;
    std::atomic<bool> isReadOnly = false;

    static bool fails(std::atomic<int>& failing) {
        if (failing <= 0) return false;
        --failing;
        errno = EIO;
        return true;
    }
    bool readFails() {
        return failingReads > 0 && ++reads % (goodReads + 1) == 0 && fails(failingReads);
    }

private:
    std::atomic<int> reads = 0;
};
inline Disk disk;

}  // namespace velora::test

extern "C" int fdatasync(int file) {
    auto& disk = velora::test::disk;
    ++disk.syncs;
    return disk.fails(disk.failingSyncs) ? -1 : static_cast<int>(syscall(SYS_fdatasync, file));
}
extern "C" ssize_t read(int file, void* buffer, size_t size) {
    return velora::test::disk.readFails() ? -1 : syscall(SYS_read, file, buffer, size);
}
extern "C" ssize_t pread64(int file, void* buffer, size_t size, off64_t offset) {
    return velora::test::disk.readFails() ? -1 : syscall(SYS_pread64, file, buffer, size, offset);
}
extern "C" int rename(const char* from, const char* to) noexcept {
    if (!velora::test::disk.isReadOnly) return static_cast<int>(syscall(SYS_rename, from, to));
    errno = EROFS;
    return -1;
}
extern "C" int open64(const char* path, int flags, ...) {
    if (velora::test::disk.isReadOnly && (flags & O_ACCMODE) == O_RDWR) {
        errno = EROFS;
        return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, 0600));
}
