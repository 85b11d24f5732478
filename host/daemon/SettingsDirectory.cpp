#define LOG_TAG "velorad"

#include "host/daemon/SettingsDirectory.h"

#include "host/SdBus.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <log/log.h>

namespace velora::host {

namespace {

namespace fs = std::filesystem;

constexpr char kLockFile[] = "velorad.lock";

/// Identifies the namespace in which this process has its pid. Empty if it can't be read.
std::string pidNamespace() {
    std::error_code error;
    return fs::read_symlink("/proc/self/ns/pid", error).string();
}

// The lock file has three lines: the pid, its namespace, and the command line.

/// Names the process that has written the lock file.
std::string describeHolder(const fs::path& directory) {
    std::ifstream file(directory / kLockFile);
    std::string pid;
    std::string space;
    std::string command;
    std::getline(file, pid);
    std::getline(file, space);
    std::getline(file, command);

    // The number would be that of another process here.
    if (pid.empty() || space.empty() || space != pidNamespace()) pid = "unknown";
    return "pid " + pid + (command.empty() ? "" : " (" + command + ")");
}

void writeLockFile(const fs::path& directory, std::string command) {
    std::replace_if(
        command.begin(), command.end(), [](unsigned char c) { return iscntrl(c) != 0; }, ' ');

    // Never written through a link that somebody has placed there.
    std::error_code error;
    fs::remove(directory / kLockFile, error);
    std::ofstream file(directory / kLockFile);
    file << getpid() << '\n' << pidNamespace() << '\n' << command << std::endl;
    if (!file) ALOGW("can't write %s, another instance will not name this one", kLockFile);
}

/// Takes permissions away from a file or directory that has them, for example because an earlier
/// version created it. Files of other users, such as the maker's, are left as they are.
void removePermissions(const fs::path& path, fs::perms removed) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    if (error || fs::is_symlink(status)) return;
    if ((status.permissions() & removed) == fs::perms::none) return;

    fs::permissions(path, removed, fs::perm_options::remove, error);
    if (error && error != std::errc::operation_not_permitted) {
        ALOGW("can't restrict the access to %s: %s", path.c_str(), error.message().c_str());
    }
}

/// Leaves the directory and its files to their owner.
void restrictAccess(const fs::path& directory) {
    constexpr fs::perms kOthers = fs::perms::group_all | fs::perms::others_all;
    removePermissions(directory, kOthers);

    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        if (entry.is_regular_file(error)) {
            removePermissions(entry.path(), kOthers | fs::perms::owner_exec);
        }
    }
}

}  // namespace

void lockSettings(const std::string& directory, const std::string& command) {
    // Never closed: a thread of the library may use the store until the process ends.
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT) {
        throw std::runtime_error("there is no directory " + directory +
                                 " for the settings; create it, or give --root");
    }
    checkErrno(fd, ("open the directory of the settings " + directory).c_str());

    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        close(fd);
        if (error != EWOULDBLOCK) check(-error, "lock the directory of the settings");
        throw std::runtime_error("the settings in " + directory + " are in use by " +
                                 describeHolder(directory));
    }

    restrictAccess(directory);
    writeLockFile(directory, command);
}

}  // namespace velora::host
