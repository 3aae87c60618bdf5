#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>

#include "platform/crypto.h"

namespace ombrix::platform {

bool pbkdf2HmacSha256(std::string_view password, std::string_view salt, std::uint32_t iterations,
                      std::span<std::uint8_t> key) {
    // OpenSSL takes int sizes, and reads a length of -1 as "up to the NUL".
    if (iterations == 0 || iterations > INT_MAX || password.size() > INT_MAX || salt.size() > INT_MAX ||
        key.empty() || key.size() > INT_MAX) {
        return false;
    }
    // An empty view may carry no pointer; OpenSSL wants one.
    static const char kEmpty = 0;
    return PKCS5_PBKDF2_HMAC(password.empty() ? &kEmpty : password.data(), static_cast<int>(password.size()),
                             reinterpret_cast<const unsigned char*>(salt.empty() ? &kEmpty : salt.data()),
                             static_cast<int>(salt.size()), static_cast<int>(iterations), EVP_sha256(),
                             static_cast<int>(key.size()), key.data()) == 1;
}

bool sha256(std::string_view data, std::span<std::uint8_t, 32> digest) {
    unsigned int size = 0;
    return EVP_Digest(data.data(), data.size(), digest.data(), &size, EVP_sha256(), nullptr) == 1 &&
           size == digest.size();
}

bool randomBytes(std::span<std::uint8_t> out) {
    if (out.size() > INT_MAX) return false;
    return out.empty() || RAND_bytes(out.data(), static_cast<int>(out.size())) == 1;
}

bool sameBytes(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b) {
    return a.size() == b.size() && (a.empty() || CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0);
}

}  // namespace ombrix::platform
