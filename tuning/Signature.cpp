#define LOG_TAG "Signature"

#include "tuning/Signature.h"

#include "tuning/InputFile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>

#include <openssl/evp.h>

#include <log/log.h>

namespace velora {

namespace {

constexpr size_t kPartSize = 1 << 16;

/// An MD5 in progress.
class Md5 {
public:
    static constexpr size_t kSize = 16;
    using Digest = std::array<uint8_t, kSize>;

    Md5() : mContext(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
        mValid = EVP_DigestInit_ex(mContext.get(), EVP_md5(), nullptr) == 1;
    }

    void update(std::string_view bytes) {
        mValid = mValid && EVP_DigestUpdate(mContext.get(), bytes.data(), bytes.size()) == 1;
    }

    /// None if the library failed, which it does where its policy forbids MD5.
    std::optional<Digest> finish() {
        Digest digest{};
        mValid = mValid && EVP_DigestFinal_ex(mContext.get(), digest.data(), nullptr) == 1;
        return mValid ? std::optional(digest) : std::nullopt;
    }

private:
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> mContext;
    bool mValid = false;
};

std::string hexadecimal(const Md5::Digest& digest) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : digest) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 15]);
    }
    return text;
}

}  // namespace

std::string fileSignature(const std::string& path) {
    InputFile file(path, std::numeric_limits<size_t>::max());
    Md5 md5;
    std::array<char, kPartSize> part{};
    int size = 0;
    while ((size = file.read(part.data(), kPartSize)) > 0) {
        md5.update({part.data(), static_cast<size_t>(size)});
    }

    const std::optional<Md5::Digest> digest = md5.finish();
    if (!file.error().empty() || !digest) {
        const char* const reason = digest ? file.error().c_str() : "MD5 isn't available";
        ALOGE("can't make the signature of %s: %s", path.c_str(), reason);
        return {};
    }
    return hexadecimal(*digest);
}

}  // namespace velora
