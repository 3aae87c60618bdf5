#pragma once
// The administrator password. The store keeps a salted PBKDF2-HMAC-SHA256
// hash, never the password as typed. Login compares exactly: letter case
// counts and blanks are not trimmed.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ombrix::core {

using Sha256Digest = std::array<std::uint8_t, 32>;

[[nodiscard]] Sha256Digest sha256(std::string_view data);
[[nodiscard]] Sha256Digest hmacSha256(std::string_view key, std::string_view data);
[[nodiscard]] std::vector<std::uint8_t> pbkdf2HmacSha256(std::string_view password, std::string_view salt,
                                                         std::uint32_t iterations, std::size_t length);

inline constexpr std::uint32_t kPasswordIterations = 60000;

// "pbkdf2-sha256$<iterations>$<salt hex>$<hash hex>". The salt is random
// unless given (tests give one).
[[nodiscard]] std::string hashPassword(std::string_view password, std::string_view salt = {},
                                       std::uint32_t iterations = kPasswordIterations);

// Whether `typed` is the password `stored` stands for. A stored value that is
// not a hash is an old plain password and is compared as it stands. An
// empty store value matches nothing.
[[nodiscard]] bool passwordMatches(std::string_view stored, std::string_view typed);

// Whether the stored value is a hash of ours (false: plain, to be replaced).
[[nodiscard]] bool isPasswordHash(std::string_view stored);

// The options form's check of a new password: "" when it may be stored,
// otherwise the message to show ("0143" blank, "0145" the two differ).
[[nodiscard]] std::string newPasswordProblem(std::string_view password, std::string_view confirmation);

}  // namespace ombrix::core
