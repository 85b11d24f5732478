#include "tuning/InputFile.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velora {

namespace {

constexpr char kTooLarge[] = "too large";

std::string lastError() { return std::generic_category().message(errno); }

}  // namespace

// O_NONBLOCK, so that opening a pipe doesn't wait for its writer. It has no effect on plain files.
InputFile::InputFile(const std::string& path, size_t maxSize)
    : mFd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)), mMaxSize(maxSize) {
    struct stat info {};
    if (mFd < 0 || fstat(mFd, &info) != 0) {
        mError = lastError();
    } else if (!S_ISREG(info.st_mode)) {
        mError = "not a file";
    } else if (static_cast<size_t>(info.st_size) > mMaxSize) {
        mError = kTooLarge;
    }
}

InputFile::~InputFile() {
    if (mFd >= 0) close(mFd);
}

int InputFile::read(char* bytes, int size) {
    if (!mError.empty()) return -1;

    int total = 0;
    ssize_t count = 1;
    while (total < size && count > 0) {
        count = TEMP_FAILURE_RETRY(::read(mFd, bytes + total, static_cast<size_t>(size - total)));
        if (count > 0) total += static_cast<int>(count);
    }
    if (count < 0) mError = lastError();

    // The file may have grown since its size was checked.
    mReadSize += static_cast<size_t>(total);
    if (mReadSize > mMaxSize) mError = kTooLarge;
    return mError.empty() ? total : -1;
}

}  // namespace velora
