#pragma once

#include <array>
#include <string>
#include <string_view>

namespace velora {

/// Version of a tuning file's format: three numbers, which are also kept in the file's own words.
/// Copied by value. Nothing fails: a text that is no number counts as 0.
class FormatVersion {
public:
    FormatVersion() = default;
    FormatVersion(std::string_view major, std::string_view minor, std::string_view maintenance);

    /// The three texts joined by points; empty if the file gives no version.
    const std::string& text() const { return mText; }

    bool startsWith(std::string_view prefix) const { return mText.starts_with(prefix); }
    /// Whether this is older than major.minor.maintenance, compared as numbers. A missing version
    /// is the oldest.
    bool isBefore(int major, int minor, int maintenance) const {
        return mNumbers < std::array{major, minor, maintenance};
    }

private:
    std::string mText;
    std::array<int, 3> mNumbers{};
};

}  // namespace velora
