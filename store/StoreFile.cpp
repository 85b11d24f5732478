#include "store/StoreFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <span>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velora {

namespace {

namespace fs = std::filesystem;

/// The file itself, and the files that SQLite keeps beside it.
constexpr std::array<std::string_view, 4> kSuffixes{"", "-wal", "-journal", "-shm"};
constexpr auto kSuffixesBeside = std::span(kSuffixes).subspan<1>();

constexpr std::string_view kDamaged = ".damaged";
constexpr size_t kMaxSetAside = 4;

class Descriptor {
public:
    explicit Descriptor(int number) : mNumber(number) {}
    ~Descriptor() {
        if (mNumber >= 0) close(mNumber);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool isValid() const { return mNumber >= 0; }
    int get() const { return mNumber; }

private:
    const int mNumber;
};

std::string errorText() { return std::error_code(errno, std::system_category()).message(); }

/// See `StoreFile::refusal`, for one file of a directory.
std::optional<std::string> refusalOf(const Descriptor& directory, const std::string& name) {
    struct stat info {};
    if (fstatat(directory.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) return std::nullopt;
        return name + " can't be examined: " + errorText();
    }

    if (S_ISLNK(info.st_mode)) {
        return name + " is a symbolic link; move the file that it points to into its place";
    }
    if (!S_ISREG(info.st_mode)) return name + " is not a plain file; remove it";
    if (info.st_uid == geteuid()) return std::nullopt;
    return name + " belongs to user " + std::to_string(info.st_uid) + " and not to user " +
           std::to_string(geteuid()) + ", who runs the service; change its owner, or remove it";
}

/// Reads a file to its end. Returns 0 or the error number.
int readAll(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!file.isValid()) return errno;

    std::array<char, 65536> buffer{};
    ssize_t length = 0;
    do {
        length = read(file.get(), buffer.data(), buffer.size());
    } while (length > 0);
    return length == 0 ? 0 : errno;
}

}  // namespace

std::optional<std::string> StoreFile::refusal() const {
    const fs::path parent = mPath.parent_path();
    const Descriptor directory(open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isValid()) return parent.native() + ": " + errorText();

    for (const std::string_view suffix : kSuffixes) {
        auto reason = refusalOf(directory, mPath.filename().native() + std::string(suffix));
        if (reason) return reason;
    }
    return std::nullopt;
}

uintmax_t StoreFile::size() const {
    std::error_code error;
    const uintmax_t size = fs::file_size(mPath, error);
    return error ? 0 : size;
}

uint64_t StoreFile::logNumber() const {
    struct stat info {};
    return stat((path() + "-wal").c_str(), &info) == 0 ? info.st_ino : 0;
}

bool StoreFile::isReadable() const {
    if (readAll(path()) != 0) return false;
    return std::all_of(kSuffixesBeside.begin(), kSuffixesBeside.end(),
                       [&](std::string_view suffix) {
                           const int error = readAll(path() + std::string(suffix));
                           return error == 0 || error == ENOENT;
                       });
}

/// The numbers of the files that were set aside. 0 is the file that an earlier release set aside,
/// which had no number.
StoreFile::Numbers StoreFile::numbersSetAside(std::error_code* error) const {
    const std::string prefix = mPath.filename().native() + std::string(kDamaged);
    Numbers numbers;
    fs::directory_iterator file(mPath.parent_path(), *error);
    for (; !*error && file != fs::directory_iterator(); file.increment(*error)) {
        const std::string name = file->path().filename();
        if (!name.starts_with(prefix)) continue;

        const std::string_view rest = std::string_view(name).substr(prefix.size());
        uint64_t number = 0;
        if (rest.starts_with('-')) std::from_chars(rest.begin() + 1, rest.end(), number);
        numbers.insert(number);
    }
    return numbers;
}

std::string StoreFile::pathSetAside(uint64_t number) const {
    const std::string unnumbered = path() + std::string(kDamaged);
    return number == 0 ? unnumbered : unnumbered + "-" + std::to_string(number);
}

std::optional<std::string> StoreFile::setAside(std::error_code* error) const {
    Numbers numbers = numbersSetAside(error);
    if (*error) return std::nullopt;

    const uint64_t number = numbers.empty() ? 1 : *numbers.rbegin() + 1;
    std::string renamed = pathSetAside(number);
    fs::rename(mPath, renamed, *error);
    if (*error) return std::nullopt;
    numbers.insert(number);

    // The other files follow the main file, because without them an intact main file could be taken
    // for the whole store. Beside a new file they must not remain, even if they can't be renamed.
    for (const std::string_view suffix : kSuffixesBeside) {
        const std::string from = path() + std::string(suffix);
        std::error_code ignored;
        fs::rename(from, renamed + std::string(suffix), ignored);
        if (ignored) fs::remove(from, ignored);
    }

    for (; numbers.size() > kMaxSetAside; numbers.erase(numbers.begin())) {
        const std::string oldest = pathSetAside(*numbers.begin());
        std::error_code ignored;
        for (const std::string_view suffix : kSuffixes) {
            fs::remove(oldest + std::string(suffix), ignored);
        }
    }
    return renamed;
}

}  // namespace velora
