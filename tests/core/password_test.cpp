#include "core/password.h"

#include <gtest/gtest.h>

namespace ombrix::core {
namespace {

std::string hex(const std::vector<std::uint8_t>& bytes) {
    std::string out;
    char buf[3];
    for (auto b : bytes) {
        std::snprintf(buf, sizeof buf, "%02x", b);
        out += buf;
    }
    return out;
}

std::string hex(const Sha256Digest& d) { return hex(std::vector<std::uint8_t>(d.begin(), d.end())); }

TEST(Sha256, KnownDigests) {
    EXPECT_EQ(hex(sha256("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hex(sha256("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(hex(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(hex(sha256(std::string(1000000, 'a'))),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Pbkdf2, KnownVectors) {
    EXPECT_EQ(hex(hmacSha256("key", "The quick brown fox jumps over the lazy dog")),
              "f7bc83f430538424b13298e6aa6fb143ef4d59a14946175997479dbc2d1a3cd8");
    EXPECT_EQ(hex(pbkdf2HmacSha256("passwd", "salt", 1, 64)),
              "55ac046e56e3089fec1691c22544b605f94185216dde0465e68b9d57c20dacbc"
              "49ca9cccf179b645991664b39d77ef317c71b845b1e30bd509112041d3a19783");
    EXPECT_EQ(hex(pbkdf2HmacSha256("Password", "NaCl", 80000, 64)),
              "4ddcd8f60b98be21830cee5ef22701f9641a4418d04c0414aeff08876b34ab56"
              "a1d425a1225833549adb841b51c9b3176a272bdebba1d078478f62b397f33c8d");
}

TEST(Password, HashMatchesExactlyWhatWasTyped) {
    const std::string stored = hashPassword("Segreta 1", "fixed-salt", 1000);
    EXPECT_TRUE(isPasswordHash(stored));
    EXPECT_EQ(stored.find("Segreta"), std::string::npos) << "the password is not in the store as typed";
    EXPECT_TRUE(passwordMatches(stored, "Segreta 1"));
    for (const char* wrong : {"segreta 1", "SEGRETA 1", "Segreta 1 ", " Segreta 1", "Segreta1", ""}) {
        EXPECT_FALSE(passwordMatches(stored, wrong)) << "'" << wrong << "'";
    }
}

TEST(Password, RandomSaltsDiffer) {
    const std::string a = hashPassword("x", {}, 10);
    const std::string b = hashPassword("x", {}, 10);
    EXPECT_NE(a, b);
    EXPECT_TRUE(passwordMatches(a, "x"));
    EXPECT_TRUE(passwordMatches(b, "x"));
}

TEST(Password, OldPlainValuesAndDamagedHashes) {
    EXPECT_TRUE(passwordMatches("segreta", "segreta")) << "a plain value from an old store";
    EXPECT_FALSE(passwordMatches("segreta", "Segreta"));
    EXPECT_FALSE(passwordMatches("", "")) << "no password set: nothing opens";
    EXPECT_FALSE(isPasswordHash("segreta"));
    const std::string good = hashPassword("x", "salt", 10);
    for (const std::string& damaged :
         {std::string("pbkdf2-sha256$0$73616c74$") + std::string(64, '0'), std::string("pbkdf2-sha256$10$zz$00"),
          good.substr(0, good.size() - 2), good + "$extra", std::string("pbkdf2-sha256$99999999999$00$00")}) {
        EXPECT_FALSE(isPasswordHash(damaged)) << damaged;
        EXPECT_FALSE(passwordMatches(damaged, "x")) << damaged;
    }
}

TEST(Password, NewPasswordChecks) {
    EXPECT_EQ(newPasswordProblem("", ""), "0143");
    EXPECT_EQ(newPasswordProblem("    ", "    "), "0143");
    EXPECT_EQ(newPasswordProblem("abc", "abd"), "0145");
    EXPECT_EQ(newPasswordProblem("abc", "ABC"), "0145");
    EXPECT_EQ(newPasswordProblem(" a ", " a "), "");
}

}  // namespace
}  // namespace ombrix::core
