#include "core/password.h"

#include <charconv>
#include <random>

#include "platform/text.h"

namespace ombrix::core {
namespace {

constexpr std::uint32_t kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr std::uint32_t rotr(std::uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }

class Sha256 {
public:
    void update(std::string_view data) {
        for (const char c : data) {
            block_[fill_++] = static_cast<std::uint8_t>(c);
            if (fill_ == 64) {
                compress();
                fill_ = 0;
            }
        }
        length_ += data.size();
    }
    Sha256Digest finish() {
        const std::uint64_t bits = length_ * 8;
        block_[fill_++] = 0x80;
        if (fill_ > 56) {
            while (fill_ < 64) block_[fill_++] = 0;
            compress();
            fill_ = 0;
        }
        while (fill_ < 56) block_[fill_++] = 0;
        for (int i = 7; i >= 0; --i) block_[fill_++] = static_cast<std::uint8_t>(bits >> (i * 8));
        compress();
        Sha256Digest out{};
        for (int i = 0; i < 8; ++i) {
            for (int j = 0; j < 4; ++j) out[static_cast<std::size_t>(i * 4 + j)] = static_cast<std::uint8_t>(h_[i] >> (24 - 8 * j));
        }
        return out;
    }

private:
    void compress() {
        std::uint32_t w[64];
        for (int i = 0; i < 16; ++i) {
            w[i] = static_cast<std::uint32_t>(block_[i * 4]) << 24 | static_cast<std::uint32_t>(block_[i * 4 + 1]) << 16 |
                   static_cast<std::uint32_t>(block_[i * 4 + 2]) << 8 | block_[i * 4 + 3];
        }
        for (int i = 16; i < 64; ++i) {
            const std::uint32_t s0 = rotr(w[i - 15], 7) ^ rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
            const std::uint32_t s1 = rotr(w[i - 2], 17) ^ rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
            w[i] = w[i - 16] + s0 + w[i - 7] + s1;
        }
        std::uint32_t a = h_[0], b = h_[1], c = h_[2], d = h_[3], e = h_[4], f = h_[5], g = h_[6], h = h_[7];
        for (int i = 0; i < 64; ++i) {
            const std::uint32_t t1 = h + (rotr(e, 6) ^ rotr(e, 11) ^ rotr(e, 25)) + ((e & f) ^ (~e & g)) + kRound[i] + w[i];
            const std::uint32_t t2 = (rotr(a, 2) ^ rotr(a, 13) ^ rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
            h = g;
            g = f;
            f = e;
            e = d + t1;
            d = c;
            c = b;
            b = a;
            a = t1 + t2;
        }
        h_[0] += a;
        h_[1] += b;
        h_[2] += c;
        h_[3] += d;
        h_[4] += e;
        h_[5] += f;
        h_[6] += g;
        h_[7] += h;
    }

    std::uint32_t h_[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::uint8_t block_[64] = {};
    std::size_t fill_ = 0;
    std::uint64_t length_ = 0;
};

std::string_view asText(const Sha256Digest& d) { return {reinterpret_cast<const char*>(d.data()), d.size()}; }

std::string toHex(const std::uint8_t* data, std::size_t n) {
    static const char* digits = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < n; ++i) {
        out += digits[data[i] >> 4];
        out += digits[data[i] & 15];
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

constexpr std::string_view kScheme = "pbkdf2-sha256";

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
    std::string_view scheme, iterations, salt, hash;
    if (!next(scheme) || scheme != kScheme || !next(iterations) || !next(salt)) return false;
    hash = stored;
    if (hash.find('$') != std::string_view::npos) return false;
    const auto [p, ec] = std::from_chars(iterations.data(), iterations.data() + iterations.size(), out.iterations);
    if (ec != std::errc() || p != iterations.data() + iterations.size() || out.iterations == 0 ||
        out.iterations > 10'000'000) {
        return false;
    }
    return fromHex(salt, out.salt) && fromHex(hash, out.hash) && out.hash.size() == 32 && !out.salt.empty();
}

}  // namespace

Sha256Digest sha256(std::string_view data) {
    Sha256 s;
    s.update(data);
    return s.finish();
}

Sha256Digest hmacSha256(std::string_view key, std::string_view data) {
    std::string k(key);
    if (k.size() > 64) k = std::string(asText(sha256(k)));
    k.resize(64, '\0');
    std::string inner(64, '\0'), outer(64, '\0');
    for (std::size_t i = 0; i < 64; ++i) {
        inner[i] = static_cast<char>(k[i] ^ 0x36);
        outer[i] = static_cast<char>(k[i] ^ 0x5c);
    }
    Sha256 in;
    in.update(inner);
    in.update(data);
    const Sha256Digest innerDigest = in.finish();
    Sha256 out;
    out.update(outer);
    out.update(asText(innerDigest));
    return out.finish();
}

std::vector<std::uint8_t> pbkdf2HmacSha256(std::string_view password, std::string_view salt, std::uint32_t iterations,
                                           std::size_t length) {
    std::vector<std::uint8_t> result;
    for (std::uint32_t block = 1; result.size() < length; ++block) {
        std::string first(salt);
        for (int i = 3; i >= 0; --i) first += static_cast<char>((block >> (i * 8)) & 0xFF);
        Sha256Digest u = hmacSha256(password, first);
        Sha256Digest t = u;
        for (std::uint32_t i = 1; i < iterations; ++i) {
            u = hmacSha256(password, asText(u));
            for (std::size_t j = 0; j < t.size(); ++j) t[j] ^= u[j];
        }
        for (std::size_t j = 0; j < t.size() && result.size() < length; ++j) result.push_back(t[j]);
    }
    return result;
}

std::string hashPassword(std::string_view password, std::string_view salt, std::uint32_t iterations) {
    std::string s(salt);
    if (s.empty()) {
        std::random_device rd;
        for (int i = 0; i < 16; ++i) s += static_cast<char>(rd() & 0xFF);
    }
    const auto hash = pbkdf2HmacSha256(password, s, iterations, 32);
    return std::string(kScheme) + "$" + std::to_string(iterations) + "$" +
           toHex(reinterpret_cast<const std::uint8_t*>(s.data()), s.size()) + "$" + toHex(hash.data(), hash.size());
}

bool isPasswordHash(std::string_view stored) {
    ParsedHash parsed;
    return parseHash(stored, parsed);
}

bool passwordMatches(std::string_view stored, std::string_view typed) {
    if (stored.empty()) return false;
    ParsedHash parsed;
    if (!parseHash(stored, parsed)) return stored == typed;
    const auto hash = pbkdf2HmacSha256(typed, parsed.salt, parsed.iterations, 32);
    // Compare every byte, so the time taken says nothing about where they differ.
    unsigned diff = 0;
    for (std::size_t i = 0; i < hash.size(); ++i) diff |= hash[i] ^ static_cast<std::uint8_t>(parsed.hash[i]);
    return diff == 0;
}

std::string newPasswordProblem(std::string_view password, std::string_view confirmation) {
    if (trimBlanks(password).empty()) return "0143";
    if (password != confirmation) return "0145";
    return {};
}

}  // namespace ombrix::core
