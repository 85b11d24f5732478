#pragma once

#include <cstddef>
#include <string>

namespace velora {

/// A plain file, opened for reading from its start to its end.
///
/// Owns its file descriptor; one thread at a time may use it. After the first failure, in opening
/// or in reading, `error` returns the reason, and every later read fails.
class InputFile {
public:
    /// Opens the file at `path`. Anything but a plain file is refused: a pipe could block, and a
    /// device might never end. So is a file of more than `maxSize` bytes.
    InputFile(const std::string& path, size_t maxSize);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /// Why the file can't be read; empty as long as it can be.
    const std::string& error() const { return mError; }

    /// Reads the next `size` bytes. Returns how many it got, fewer only at the end of the file; -1
    /// after a failure. A file that has grown beyond `maxSize` since it was opened is a failure.
    [[nodiscard]] int read(char* bytes, int size);

private:
    const int mFd;
    const size_t mMaxSize;
    size_t mReadSize = 0;  ///< bytes read so far
    std::string mError;
};

}  // namespace velora
