#pragma once

#include <string>
#include <string_view>

namespace android {

/// UTF-16 text, constructed from ASCII.
class String16 {
public:
    explicit String16(std::string_view ascii) : mText(ascii.begin(), ascii.end()) {}
    const std::u16string& string() const { return mText; }

private:
    std::u16string mText;
};

}  // namespace android
