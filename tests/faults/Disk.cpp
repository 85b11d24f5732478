#include "tests/faults/Disk.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

// The functions below may run before the constructors of their program, inside the dynamic loader
// and in a forked child. So nothing here allocates memory, and the kernel is called directly.

namespace velora::test {
namespace {

std::atomic<Disk*> sDisk{nullptr};
std::mutex sOrder;  // of the records of this process

/// The file of a call, if it is on the disk in use.
class File {
public:
    explicit File(int fd) {
        if (mDisk == nullptr) return;
        const int before = errno;
        char link[64];
        snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
        syscall(SYS_readlinkat, AT_FDCWD, link, mPath, sizeof mPath - 1);
        errno = before;
    }
    explicit File(const char* path) {
        if (mDisk != nullptr) snprintf(mPath, sizeof mPath, "%s", path);
    }

    Disk* disk() const { return mDisk; }
    /// Its path in the directory, empty for the directory itself; null if it is elsewhere.
    const char* path() const {
        const size_t size = mDisk != nullptr ? strlen(mDisk->directory) : 0;
        if (size == 0 || strncmp(mPath, mDisk->directory, size) != 0) return nullptr;
        if (mPath[size] == '\0') return mPath + size;
        return mPath[size] == '/' ? mPath + size + 1 : nullptr;
    }

private:
    Disk* const mDisk = sDisk;
    char mPath[2 * Disk::kPathSize] = "";
};

bool fails(Disk& disk, DiskCall call) {
    const uint64_t ofKind = ++disk.calls[static_cast<size_t>(call)];
    const uint64_t ofAny = ++disk.calls[static_cast<size_t>(DiskCall::ANY)];
    const DiskCall failing = disk.failKind;
    if (failing != call && failing != DiskCall::ANY) return false;

    const uint64_t number = failing == call ? ofKind : ofAny;
    const uint64_t at = disk.failAt;
    if (at == 0 || number < at) return false;
    const uint64_t every = disk.failEvery;
    if (number > at && (every == 0 || (number - at) % every != 0)) return false;
    ++disk.failures;
    errno = disk.error;
    return true;
}

/// The file is on a disk that is read-only.
bool isRefused(const File& file) {
    if (file.path() == nullptr || !file.disk()->isReadOnly) return false;
    errno = EROFS;
    return true;
}

/// Appends a record, if the disk is recorded. Called with the lock held.
void record(const File& file, DiskRecord head, const void* data = nullptr) {
    if (file.disk()->recording[0] == '\0') return;
    const int before = errno;
    head.pathSize = static_cast<uint32_t>(strlen(file.path()));
    const iovec parts[]{{&head, sizeof head},
                        {const_cast<char*>(file.path()), head.pathSize},
                        {const_cast<void*>(data), head.size}};
    const auto fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, file.disk()->recording,
                                             O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
    if (fd < 0 || writev(fd, parts, 3) < 0) abort();
    syscall(SYS_close, fd);
    errno = before;
}

/// Runs a call, unless the disk lets it fail. `makeRecord` is then called, if the disk records and
/// the call has succeeded, with the call's result.
template <typename Run, typename MakeRecord>
long perform(DiskCall call, const File& file, Run run, MakeRecord makeRecord) {
    if (file.path() == nullptr) return run();
    if (fails(*file.disk(), call)) return -1;

    std::lock_guard lock(sOrder);
    const long result = run();
    if (result >= 0) makeRecord(result);
    return result;
}

ssize_t writeFile(DiskCall call, int fd, const void* data, size_t size, off_t offset) {
    const File file(fd);
    const auto run = [&] {
        return call == DiskCall::WRITE ? syscall(SYS_write, fd, data, size)
                                       : syscall(SYS_pwrite64, fd, data, size, offset);
    };
    return perform(call, file, run, [&](long written) {
        const auto bytes = static_cast<uint64_t>(written);
        if (call == DiskCall::WRITE) offset = syscall(SYS_lseek, fd, 0, SEEK_CUR) - written;
        record(file, {DiskRecord::WRITE, 0, static_cast<uint64_t>(offset), bytes}, data);
    });
}

int syncFile(DiskCall call, int fd, long number) {
    const File file(fd);
    if (file.path() == nullptr) return static_cast<int>(syscall(number, fd));
    const timespec time{file.disk()->syncMs / 1000, file.disk()->syncMs % 1000 * 1'000'000L};
    nanosleep(&time, nullptr);
    const auto run = [] { return 0L; };
    return static_cast<int>(
        perform(call, file, run, [&](long) { record(file, {DiskRecord::SYNC}); }));
}

[[gnu::constructor]] void useDiskOfEnvironment() {
    const char* const file = secure_getenv("VELORA_DISK");
    if (file != nullptr) useDisk(openDisk(file));
}

}  // namespace

Disk* openDisk(const char* file) {
    const auto fd =
        static_cast<int>(syscall(SYS_openat, AT_FDCWD, file, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (fd < 0 || syscall(SYS_ftruncate, fd, sizeof(Disk)) != 0) return nullptr;
    void* const memory = mmap(nullptr, sizeof(Disk), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    syscall(SYS_close, fd);
    return memory != MAP_FAILED ? static_cast<Disk*>(memory) : nullptr;
}

void useDisk(Disk* disk) { sDisk = disk; }

Disk& useFreshDisk(const std::string& directory) {
    static Disk disk;
    useDisk(nullptr);
    new (&disk) Disk{};
    directory.copy(disk.directory, Disk::kPathSize - 1);
    useDisk(&disk);
    return disk;
}

void markDisk(std::string_view text) {
    const Disk* const disk = sDisk;
    if (disk == nullptr) return;
    std::lock_guard lock(sOrder);
    record(File(disk->directory), {DiskRecord::MARK, 0, 0, text.size()}, text.data());
}

}  // namespace velora::test

// The functions of libc, under each of their names that is used, with the parameters of its
// headers.

using namespace velora::test;

extern "C" {

int open(const char* file, int oflag, ...) {
    va_list arguments;
    va_start(arguments, oflag);
    const mode_t mode = (oflag & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);

    const File opened(file);
    if ((oflag & O_ACCMODE) != O_RDONLY && isRefused(opened)) return -1;
    bool isNew = false;
    const auto run = [&] {
        isNew = (oflag & O_CREAT) != 0 && syscall(SYS_faccessat, AT_FDCWD, file, F_OK) != 0;
        return syscall(SYS_openat, AT_FDCWD, file, oflag, mode);
    };
    return static_cast<int>(perform(DiskCall::OPEN, opened, run, [&](long) {
        if (isNew) record(opened, {DiskRecord::CREATE});
        if ((oflag & O_TRUNC) != 0) record(opened, {DiskRecord::TRUNCATE});
    }));
}
int open64(const char* file, int oflag, ...) __attribute__((alias("open")));

ssize_t read(int fd, void* buf, size_t nbytes) {
    const auto run = [&] { return syscall(SYS_read, fd, buf, nbytes); };
    return perform(DiskCall::READ, File(fd), run, [](long) {});
}
ssize_t pread(int fd, void* buf, size_t nbytes, off_t offset) {
    const auto run = [&] { return syscall(SYS_pread64, fd, buf, nbytes, offset); };
    return perform(DiskCall::PREAD, File(fd), run, [](long) {});
}
ssize_t pread64(int fd, void* buf, size_t nbytes, off64_t offset) __attribute__((alias("pread")));

ssize_t write(int fd, const void* buf, size_t n) {
    return writeFile(DiskCall::WRITE, fd, buf, n, 0);
}
ssize_t pwrite(int fd, const void* buf, size_t n, off_t offset) {
    return writeFile(DiskCall::PWRITE, fd, buf, n, offset);
}
ssize_t pwrite64(int fd, const void* buf, size_t n, off64_t offset)
    __attribute__((alias("pwrite")));

int fsync(int fd) { return syncFile(DiskCall::FSYNC, fd, SYS_fsync); }
int fdatasync(int fildes) { return syncFile(DiskCall::FDATASYNC, fildes, SYS_fdatasync); }

int ftruncate(int fd, off_t length) noexcept {
    const File file(fd);
    const auto run = [&] { return syscall(SYS_ftruncate, fd, length); };
    return static_cast<int>(perform(DiskCall::FTRUNCATE, file, run, [&](long) {
        record(file, {DiskRecord::TRUNCATE, 0, static_cast<uint64_t>(length)});
    }));
}
int ftruncate64(int fd, off64_t length) noexcept __attribute__((alias("ftruncate")));

int unlink(const char* name) noexcept {
    const File file(name);
    const auto run = [&] { return syscall(SYS_unlinkat, AT_FDCWD, name, 0); };
    return static_cast<int>(
        perform(DiskCall::UNLINK, file, run, [&](long) { record(file, {DiskRecord::UNLINK}); }));
}

/// Isn't recorded, and fails only on a disk that is read-only.
int rename(const char* old, const char* _new) noexcept {
    if (isRefused(File(old))) return -1;
    return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, old, AT_FDCWD, _new, 0U));
}

}  // extern "C"
