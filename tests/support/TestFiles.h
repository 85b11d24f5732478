#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

namespace velora::test {

/// A new directory, removed with its contents at the end of the scope.
class TempDir {
public:
    TempDir() {
        std::string name = std::filesystem::temp_directory_path() / "velora-test-XXXXXX";
        mPath = mkdtemp(name.data());
    }
    ~TempDir() { std::filesystem::remove_all(mPath); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return mPath; }

    /// Creates or replaces a file, and creates its directories. Returns its path.
    std::string write(std::string_view name, std::string_view contents) const {
        const auto file = mPath / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << contents;
        return file;
    }

private:
    std::filesystem::path mPath;
};

/// The path of a file of the source tree.
inline std::string sourceFile(std::string_view name) {
    return std::filesystem::path(VELORA_SOURCE_DIR) / name;
}

/// `text` with `to` in place of each `from`.
inline std::string replaced(std::string text, std::string_view from, std::string_view to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

inline std::string contentsOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace velora::test
