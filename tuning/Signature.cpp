#define LOG_TAG "Signature"

#include "tuning/Signature.h"

#include "tuning/InputFile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <md5.h>

#include <log/log.h>

namespace velora {

std::string fileSignature(const std::string& path) {
    constexpr size_t kPartSize = 1 << 16;

    InputFile file(path, std::numeric_limits<size_t>::max());
    MD5_CTX md5;
    MD5Init(&md5);
    std::array<char, kPartSize> part{};
    int size = 0;
    while ((size = file.read(part.data(), kPartSize)) > 0) {
        MD5Update(&md5, reinterpret_cast<const uint8_t*>(part.data()), static_cast<size_t>(size));
    }

    if (!file.error().empty()) {
        ALOGE("can't make the signature of %s: %s", path.c_str(), file.error().c_str());
        return {};
    }
    std::array<char, MD5_DIGEST_STRING_LENGTH> digits{};
    return MD5End(&md5, digits.data());
}

}  // namespace velora
