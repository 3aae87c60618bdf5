#include "core/password.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <vector>

#include "fakes/fixtures.h"
#include "platform/crypto.h"
#include "support/messages.h"

namespace ombrix::core {
namespace {

std::string hex(std::span<const std::uint8_t> bytes) {
    std::string out;
    char buf[3];
    for (auto b : bytes) {
        std::snprintf(buf, sizeof buf, "%02x", b);
        out += buf;
    }
    return out;
}

// Published PBKDF2-HMAC-SHA256 answers. Natively this runs OpenSSL, under
// Wine the CNG build.
TEST(SystemCrypto, Pbkdf2KnownAnswers) {
    struct Case {
        std::string password, salt;
        std::uint32_t iterations;
        std::size_t length;
        const char* expected;
    };
    const Case cases[] = {
        {"passwd", "salt", 1, 64,
         "55ac046e56e3089fec1691c22544b605f94185216dde0465e68b9d57c20dacbc"
         "49ca9cccf179b645991664b39d77ef317c71b845b1e30bd509112041d3a19783"},
        {"passwordPASSWORDpassword", "saltSALTsaltSALTsaltSALTsaltSALTsalt", 4096, 40,
         "348c89dbcbd32b2f32d814b8116e84cf2b17347ebc1800181c4e2a1fb8dd53e1c635518c7dac47e9"},
        {std::string("pass\0word", 9), std::string("sa\0lt", 5), 4096, 16, "89b69d0516f829893c696226650a8687"},
    };
    for (const Case& c : cases) {
        std::vector<std::uint8_t> key(c.length);
        ASSERT_TRUE(platform::pbkdf2HmacSha256(c.password, c.salt, c.iterations, key)) << c.expected;
        EXPECT_EQ(hex(key), c.expected);
    }
    std::array<std::uint8_t, 32> key{};
    EXPECT_FALSE(platform::pbkdf2HmacSha256("x", "salt", 0, key)) << "no rounds";
    EXPECT_FALSE(platform::pbkdf2HmacSha256("x", "salt", 1, std::span<std::uint8_t>())) << "no key";
}

TEST(SystemCrypto, RandomBytesAndComparison) {
    std::array<std::uint8_t, 16> a{}, b{};
    ASSERT_TRUE(platform::randomBytes(a));
    ASSERT_TRUE(platform::randomBytes(b));
    EXPECT_NE(a, b);

    const std::vector<std::uint8_t> base = {1, 2, 3, 4, 5, 6, 7, 8}, first = {0, 2, 3, 4, 5, 6, 7, 8},
                                    last = {1, 2, 3, 4, 5, 6, 7, 0};
    EXPECT_TRUE(platform::sameBytes(base, std::vector<std::uint8_t>(base)));
    EXPECT_TRUE(platform::sameBytes({}, {}));
    EXPECT_FALSE(platform::sameBytes(base, first) || platform::sameBytes(base, last));
    EXPECT_FALSE(platform::sameBytes(base, std::span(base).first(7)));
}

TEST(Password, HashMatchesExactlyWhatWasTyped) {
    const std::string stored = hashPassword("Segreta 1", "fixed-salt", 1000).value();
    EXPECT_EQ(stored.find("Segreta"), std::string::npos) << "the password is not in the store as typed";
    EXPECT_TRUE(passwordMatches(stored, "Segreta 1"));
    for (const char* wrong : {"segreta 1", "Segreta 1 ", "Segreta1", ""}) {
        EXPECT_FALSE(passwordMatches(stored, wrong)) << "'" << wrong << "'";
    }
    // HMAC pads its key with NULs: trailing NULs (or any control character)
    // typed after the password must not open it.
    const std::string secret = hashPassword("secret", "salt", 10).value();
    EXPECT_TRUE(passwordMatches(secret, "secret"));
    for (const std::string& typed : {std::string("secret\0\0", 8), std::string("secret\0", 7), std::string("secret\t")}) {
        EXPECT_FALSE(passwordMatches(secret, typed)) << typed.size();
    }
}

TEST(Password, StoredFormatStaysReadable) {
    EXPECT_EQ(hashPassword("password", "salt", 4096).value(),
              "pbkdf2-sha256$4096$73616c74$c5e478d59288c841aa530db6845c4c8d962893a001ce4e11a4963873aa98134a");
    // A key longer than HMAC's block is hashed once up front: still the standard result.
    EXPECT_EQ(hashPassword(std::string(100, 'k'), "salt", 2).value(),
              "pbkdf2-sha256$2$73616c74$2c1357648009149f57e4d5544c3435bbca87a6b231300fa3abb2a89b50f56ec3");
    // Written by the earlier version, at its 60,000 rounds: still opens, and asks to be renewed.
    const std::string earlier =
        "pbkdf2-sha256$60000$0123456789abcdef0123456789abcdef$"
        "88f2259a1cf44c5db2b606124bd31604700edfa2cf6484bd829710f0cf8b6077";
    EXPECT_TRUE(passwordMatches(earlier, "Vecchia 60k"));
    EXPECT_FALSE(passwordMatches(earlier, "vecchia 60k"));
    EXPECT_TRUE(passwordNeedsRehash(earlier));
}

TEST(Password, OldPlainValuesAndDamagedHashes) {
    EXPECT_TRUE(passwordMatches("segreta", "segreta")) << "a plain value from an old store";
    EXPECT_FALSE(passwordMatches("segreta", "segret"));
    EXPECT_FALSE(passwordMatches("", "")) << "no password set: nothing opens";
    EXPECT_FALSE(isPasswordHash("segreta"));
    const std::string good = hashPassword("x", "salt", 10).value();
    const std::string hash64(64, '0');
    for (const std::string& damaged :
         {"pbkdf2-sha256$0$73616c74$" + hash64, std::string("pbkdf2-sha256$10$zz$00"), good.substr(0, good.size() - 2),
          good + "$extra", "pbkdf2-sha256$99999999999$00$" + hash64, "pbkdf2-sha256$10000001$00$" + hash64,
          "pbkdf2-sha256$10$" + std::string(130, 'a') + "$" + hash64, "pbkdf2-sha256$10$$" + hash64}) {
        EXPECT_FALSE(isPasswordHash(damaged)) << damaged;
        EXPECT_FALSE(passwordMatches(damaged, "x")) << damaged;
    }
}

TEST(Password, NewHashesAndRenewal) {
    test::QuickPasswords quick;
    const std::string a = hashPassword("x").value();
    const std::string b = hashPassword("x").value();
    EXPECT_NE(a, b) << "random salts";
    EXPECT_TRUE(passwordMatches(a, "x"));
    EXPECT_FALSE(passwordNeedsRehash(a));
    EXPECT_TRUE(passwordNeedsRehash("x")) << "plain";
    EXPECT_TRUE(passwordNeedsRehash(hashPassword("x", "salt", passwordWork() - 1).value()));
    EXPECT_FALSE(passwordNeedsRehash(hashPassword("x", "salt", passwordWork() + 1).value())) << "never lowered";
}

TEST(Password, NewPasswordChecks) {
    const std::string longest(kPasswordMaxCharacters, 'a');
    std::string accented;  // as many characters, twice the bytes
    for (std::size_t i = 0; i < kPasswordMaxCharacters; ++i) accented += "\xC3\xA8";
    struct Case {
        std::string password, confirmation;
        MessageId problem;
    };
    const Case cases[] = {
        {"", "", msg::PasswordBlank},
        {"    ", "    ", msg::PasswordBlank},
        {"\t", "\t", msg::PasswordBlank},                        // blank to the eye, and a control
        {"\xC2\xA0", "\xC2\xA0", msg::PasswordBlank},            // no-break space
        {"\xE3\x80\x80 ", "\xE3\x80\x80 ", msg::PasswordBlank},  // ideographic space
        {"abc", "ABC", msg::PasswordsDiffer},
        {" a ", " a ", {}},
        {"a\tb", "a\tb", msg::PasswordControlCharacter},
        {"a\x7f", "a\x7f", msg::PasswordControlCharacter},
        {"a\xC2\x85", "a\xC2\x85", msg::PasswordControlCharacter},  // a C1 control
        {longest, longest, {}},
        {accented, accented, {}},
        {longest + "a", longest + "a", msg::PasswordTooLong},
        {std::string("a\0b", 3), std::string("a\0b", 3), msg::PasswordControlCharacter},
        // Bytes that are not UTF-8 (a code page's "caffè", a cut character): no key types them.
        {"caff\xE8", "caff\xE8", msg::PasswordNotUtf8},
        {"caff\xC3", "caff\xC3", msg::PasswordNotUtf8},
        {"a\xED\xA0\x80", "a\xED\xA0\x80", msg::PasswordNotUtf8},  // a lone surrogate
        {"a\xC0\xAF", "a\xC0\xAF", msg::PasswordNotUtf8},          // an overlong slash
        {"caff\xC3\xA8", "caff\xC3\xA8", {}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(newPasswordProblem(c.password, c.confirmation), c.problem) << c.password.substr(0, 20);
    }
    // Longer than any password: refused without hashing a megabyte.
    const std::string stored = hashPassword(longest, "salt", 10).value();
    EXPECT_TRUE(passwordMatches(stored, longest));
    EXPECT_FALSE(passwordMatches(stored, longest + "a"));
    EXPECT_FALSE(passwordMatches(stored, std::string(1 << 20, 'a')));
    // Nor is one that is not UTF-8 ever typed: a plain old value so written opens nothing.
    EXPECT_FALSE(passwordMatches("caff\xE8", "caff\xE8"));
}

}  // namespace
}  // namespace ombrix::core
