#include <windows.h>

#include <bcrypt.h>

#include <climits>

#include "platform/crypto.h"
#include "platform/win32/handles.h"

namespace ombrix::platform {
namespace {

// CNG's buffers are not const, though it only reads the password and salt.
PUCHAR bytesOf(std::string_view text) {
    static UCHAR empty = 0;
    return text.empty() ? &empty : reinterpret_cast<PUCHAR>(const_cast<char*>(text.data()));
}

}  // namespace

bool pbkdf2HmacSha256(std::string_view password, std::string_view salt, std::uint32_t iterations,
                      std::span<std::uint8_t> key) {
    if (iterations == 0 || password.size() > ULONG_MAX || salt.size() > ULONG_MAX || key.empty() ||
        key.size() > ULONG_MAX) {
        return false;
    }
    win32::UniqueAlgorithm prf;
    if (!BCRYPT_SUCCESS(
            BCryptOpenAlgorithmProvider(prf.put(), BCRYPT_SHA256_ALGORITHM, nullptr, BCRYPT_ALG_HANDLE_HMAC_FLAG))) {
        return false;
    }
    return BCRYPT_SUCCESS(BCryptDeriveKeyPBKDF2(prf.get(), bytesOf(password), static_cast<ULONG>(password.size()),
                                                bytesOf(salt), static_cast<ULONG>(salt.size()), iterations, key.data(),
                                                static_cast<ULONG>(key.size()), 0));
}

bool sha256(std::string_view data, std::span<std::uint8_t, 32> digest) {
    if (data.size() > ULONG_MAX) return false;
    win32::UniqueAlgorithm algorithm;
    if (!BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(algorithm.put(), BCRYPT_SHA256_ALGORITHM, nullptr, 0))) return false;
    win32::UniqueHash hash;
    if (!BCRYPT_SUCCESS(BCryptCreateHash(algorithm.get(), hash.put(), nullptr, 0, nullptr, 0, 0))) return false;
    return BCRYPT_SUCCESS(BCryptHashData(hash.get(), bytesOf(data), static_cast<ULONG>(data.size()), 0)) &&
           BCRYPT_SUCCESS(BCryptFinishHash(hash.get(), digest.data(), static_cast<ULONG>(digest.size()), 0));
}

bool randomBytes(std::span<std::uint8_t> out) {
    if (out.size() > ULONG_MAX) return false;
    return out.empty() || BCRYPT_SUCCESS(BCryptGenRandom(nullptr, out.data(), static_cast<ULONG>(out.size()),
                                                         BCRYPT_USE_SYSTEM_PREFERRED_RNG));
}

bool sameBytes(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b) {
    if (a.size() != b.size()) return false;
    // CNG has no comparison of its own. Every byte is visited and the
    // differences gathered, so no early exit can give away a position.
    volatile std::uint8_t diff = 0;
    for (std::size_t i = 0; i < a.size(); ++i) diff = static_cast<std::uint8_t>(diff | (a[i] ^ b[i]));
    return diff == 0;
}

}  // namespace ombrix::platform
