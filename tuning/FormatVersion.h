#pragma once

#include <array>
#include <string>
#include <string_view>

namespace velora {

/// Version of a tuning file's format: three numbers, in the file's own words.
class FormatVersion {
public:
    FormatVersion() = default;
    /// The three texts of the file, major first.
    FormatVersion(std::string_view major, std::string_view minor, std::string_view maintenance);

    /// The texts joined by points; empty if the file has none.
    const std::string& text() const { return mText; }

    /// The text begins with `prefix`.
    bool startsWith(std::string_view prefix) const { return mText.starts_with(prefix); }
    /// Older than major.minor.maintenance, compared as numbers. A file without version is oldest.
    bool isBefore(int major, int minor, int maintenance) const {
        return mNumbers < std::array{major, minor, maintenance};
    }

private:
    std::string mText;
    std::array<int, 3> mNumbers{};
};

}  // namespace velora
