#pragma once
// The administrator password. The store keeps a salted PBKDF2-HMAC-SHA256
// hash made by the system's cryptography, never the password as typed.
// Login compares exactly: letter case counts and blanks are not trimmed.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/message_id.h"

namespace ombrix::core {

// Today's recommended work for PBKDF2-HMAC-SHA256.
inline constexpr std::uint32_t kPasswordIterations = 600000;
// A bound on a password's length, so that neither the command line nor the
// login form spends long on a pasted wall of text.
inline constexpr std::size_t kPasswordMaxCharacters = 256;
// No UTF-8 text longer than this can be a password (four bytes a character).
inline constexpr std::size_t kPasswordMaxBytes = 4 * kPasswordMaxCharacters;

// The work new hashes get: kPasswordIterations, unless a test program
// lowered it. The program itself never calls the setter, and nothing it
// reads (environment, store, command line) reaches it. Clamped to
// 1..kPasswordIterations: it can only lower the work.
[[nodiscard]] std::uint32_t passwordWork();
void setPasswordWorkForTests(std::uint32_t iterations);

// "pbkdf2-sha256$<iterations>$<salt hex>$<hash hex>" with a random salt and
// passwordWork() iterations; nullopt when the system's cryptography failed.
[[nodiscard]] std::optional<std::string> hashPassword(std::string_view password);
// The same with a salt and work of the caller's choosing (tests' known stores).
[[nodiscard]] std::optional<std::string> hashPassword(std::string_view password, std::string_view salt,
                                                      std::uint32_t iterations);

// Whether `typed` is the password `stored` stands for. A stored value that is
// not a hash is an old plain password and is compared as it stands. An
// empty store value, and a typed text longer than any password or holding a
// control character, match nothing; so does everything when the system's
// cryptography fails.
[[nodiscard]] bool passwordMatches(std::string_view stored, std::string_view typed);

// Whether the stored value is a hash of ours (false: plain, to be replaced).
[[nodiscard]] bool isPasswordHash(std::string_view stored);

// Whether a login that matched should store a fresh hash: the value is an
// old plain password, or a hash made with less work than passwordWork().
[[nodiscard]] bool passwordNeedsRehash(std::string_view stored);

// The check of a new password: no message when it may be stored, otherwise
// the one to show: blank (every Unicode blank counts), the two differ, longer
// than kPasswordMaxCharacters, bytes that are not UTF-8, a control character:
// no one types those into the login box.
[[nodiscard]] platform::MessageId newPasswordProblem(std::string_view password, std::string_view confirmation);

}  // namespace ombrix::core
