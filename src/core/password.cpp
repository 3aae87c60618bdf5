#include "core/password.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>

#include "platform/crypto.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix::core {
namespace {

constexpr std::string_view kScheme = "pbkdf2-sha256";
constexpr std::size_t kHashBytes = 32;
constexpr std::size_t kSaltBytes = 16;
// Bounds on what a stored value may ask for, so a damaged or hostile store
// can neither stall a login for minutes nor make it allocate much.
constexpr std::uint32_t kMaxStoredIterations = 10'000'000;
constexpr std::size_t kMaxStoredSaltBytes = 64;

std::atomic<std::uint32_t> g_work{kPasswordIterations};

using Hash = std::array<std::uint8_t, kHashBytes>;

std::string toHex(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        out += kDigits[b >> 4];
        out += kDigits[b & 15];
    }
    return out;
}

bool fromHex(std::string_view hex, std::string& out) {
    if (hex.size() % 2 != 0) return false;
    out.clear();
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        unsigned v = 0;
        const auto [p, ec] = std::from_chars(hex.data() + i, hex.data() + i + 2, v, 16);
        if (ec != std::errc() || p != hex.data() + i + 2) return false;
        out += static_cast<char>(v);
    }
    return true;
}

struct ParsedHash {
    std::uint32_t iterations = 0;
    std::string salt;
    std::string hash;
};

bool parseHash(std::string_view stored, ParsedHash& out) {
    auto next = [&](std::string_view& field) {
        const std::size_t dollar = stored.find('$');
        field = stored.substr(0, dollar);
        stored = dollar == std::string_view::npos ? std::string_view{} : stored.substr(dollar + 1);
        return dollar != std::string_view::npos;
    };
    std::string_view scheme, iterations, salt;
    if (!next(scheme) || scheme != kScheme || !next(iterations) || !next(salt)) return false;
    const std::string_view hash = stored;
    if (hash.find('$') != std::string_view::npos) return false;
    const auto [p, ec] = std::from_chars(iterations.data(), iterations.data() + iterations.size(), out.iterations);
    if (ec != std::errc() || p != iterations.data() + iterations.size() || out.iterations == 0 ||
        out.iterations > kMaxStoredIterations || salt.size() > 2 * kMaxStoredSaltBytes) {
        return false;
    }
    return fromHex(salt, out.salt) && fromHex(hash, out.hash) && out.hash.size() == kHashBytes && !out.salt.empty();
}

// Unicode's white space: the login box shows it as nothing.
bool isBlank(char32_t c) {
    return c == U' ' || (c >= U'\t' && c <= U'\r') || c == U'\u0085' || c == U'\u00a0' || c == U'\u1680' || (c >= U'\u2000' && c <= U'\u200b') ||
           c == U'\u2028' || c == U'\u2029' || c == U'\u202f' || c == U'\u205f' || c == U'\u3000' ||
           c == U'\ufeff' || c == U'\u180e';
}

template <typename Test>
bool anyCharacter(std::string_view text, Test test) {
    for (std::size_t i = 0; i < text.size();) {
        if (test(decodeUtf8(text, i))) return true;
    }
    return false;
}

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// HMAC replaces a key longer than its block with the key's hash, and some
// providers do so again on every one of the hundreds of thousands of calls:
// hashing it once here gives the same result at the cost of one.
constexpr std::size_t kHmacBlockBytes = 64;

bool derive(std::string_view password, std::string_view salt, std::uint32_t iterations, Hash& out) {
    std::array<std::uint8_t, 32> shortKey{};
    if (password.size() > kHmacBlockBytes) {
        if (!platform::sha256(password, shortKey)) return false;
        password = std::string_view(reinterpret_cast<const char*>(shortKey.data()), shortKey.size());
    }
    return platform::pbkdf2HmacSha256(password, salt, iterations, out);
}

}  // namespace

std::uint32_t passwordWork() { return g_work.load(); }

void setPasswordWorkForTests(std::uint32_t iterations) {
    g_work.store(std::clamp<std::uint32_t>(iterations, 1, kPasswordIterations));
}

std::optional<std::string> hashPassword(std::string_view password) {
    std::array<std::uint8_t, kSaltBytes> salt{};
    if (!platform::randomBytes(salt)) return std::nullopt;
    return hashPassword(password, std::string_view(reinterpret_cast<const char*>(salt.data()), salt.size()),
                        passwordWork());
}

std::optional<std::string> hashPassword(std::string_view password, std::string_view salt, std::uint32_t iterations) {
    Hash hash{};
    if (salt.empty() || !derive(password, salt, iterations, hash)) return std::nullopt;
    return std::string(kScheme) + "$" + std::to_string(iterations) + "$" + toHex(salt) + "$" +
           toHex(std::string_view(reinterpret_cast<const char*>(hash.data()), hash.size()));
}

bool isPasswordHash(std::string_view stored) {
    ParsedHash parsed;
    return parseHash(stored, parsed);
}

bool passwordMatches(std::string_view stored, std::string_view typed) {
    // HMAC pads its key with NULs, so "secret\0" would open "secret".
    if (stored.empty() || typed.size() > kPasswordMaxBytes || characterCount(typed) > kPasswordMaxCharacters ||
        !typeableText(typed)) {
        return false;
    }
    ParsedHash parsed;
    if (!parseHash(stored, parsed)) return platform::sameBytes(bytesOf(stored), bytesOf(typed));
    Hash hash{};
    if (!derive(typed, parsed.salt, parsed.iterations, hash)) return false;
    return platform::sameBytes(hash, bytesOf(parsed.hash));
}

bool passwordNeedsRehash(std::string_view stored) {
    ParsedHash parsed;
    return !parseHash(stored, parsed) || parsed.iterations < passwordWork();
}

MessageId newPasswordProblem(std::string_view password, std::string_view confirmation) {
    if (!anyCharacter(password, [](char32_t c) { return !isBlank(c); })) return msg::PasswordBlank;
    if (password != confirmation) return msg::PasswordsDiffer;
    if (password.size() > kPasswordMaxBytes || characterCount(password) > kPasswordMaxCharacters) {
        return msg::PasswordTooLong;
    }
    // The login box hands over UTF-8: other bytes could never be typed there.
    if (!isValidUtf8(password)) return msg::PasswordNotUtf8;
    if (anyCharacter(password, isControlCharacter)) return msg::PasswordControlCharacter;
    return {};
}

}  // namespace ombrix::core
