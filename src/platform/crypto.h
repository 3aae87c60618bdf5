#pragma once
// The system's cryptography: key derivation, random bytes and a comparison
// whose time does not depend on the values. Each build compiles one
// implementation (OpenSSL natively, CNG on Windows); nothing here is ours.

#include <cstdint>
#include <span>
#include <string_view>

namespace ombrix::platform {

// PBKDF2 with HMAC-SHA256 of `password` and `salt` (any bytes, NULs
// included) over `iterations` rounds, filling all of `key`. False when the
// system refuses (no rounds, sizes it cannot take, no provider); `key` then
// holds nothing to use.
[[nodiscard]] bool pbkdf2HmacSha256(std::string_view password, std::string_view salt, std::uint32_t iterations,
                                    std::span<std::uint8_t> key);

// SHA-256 of `data` into `digest` (32 bytes); false when the system refuses.
[[nodiscard]] bool sha256(std::string_view data, std::span<std::uint8_t, 32> digest);

// Fills `out` from the system's cryptographic generator; false when it cannot.
[[nodiscard]] bool randomBytes(std::span<std::uint8_t> out);

// Whether `a` and `b` hold the same bytes. Only the sizes may end the
// comparison early: the time taken says nothing about where the bytes differ.
[[nodiscard]] bool sameBytes(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b);

}  // namespace ombrix::platform
