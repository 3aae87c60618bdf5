#include "core/password.h"
#include <gtest/gtest.h>
#include <vector>
#include "fakes/fixtures.h"
#include "support/messages.h"

namespace ombrix::core {
namespace {
TEST(Password, HashMatchesExactlyWhatWasTyped) {
    const std::string stored = hashPassword("Segreta 1", "fixed-salt", 1000).value();
    EXPECT_TRUE(stored.find("Segreta") == std::string::npos && passwordMatches(stored, "Segreta 1"));
    // HMAC pads its key with NULs: trailing NULs typed after the password must not open it.
    for (const std::string& wrong : {std::string("segreta 1"), std::string("Segreta 1 "), std::string("Segreta1"),
                                     std::string(), std::string("Segreta 1\0", 10), std::string("Segreta 1\t")}) {
        EXPECT_FALSE(passwordMatches(stored, wrong)) << "'" << wrong << "'";
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
        "pbkdf2-sha256$60000$0123456789abcdef0123456789abcdef$88f2259a1cf44c5db2b606124bd31604700edfa2cf6484bd829710f0cf8b6077";
    EXPECT_TRUE(passwordMatches(earlier, "Vecchia 60k") && passwordNeedsRehash(earlier) && !passwordMatches(earlier, "vecchia 60k"));
}

TEST(Password, OldPlainValuesAndDamagedHashes) {
    EXPECT_TRUE(passwordMatches("segreta", "segreta")) << "a plain value from an old store";
    EXPECT_FALSE(passwordMatches("segreta", "segret") || isPasswordHash("segreta") || passwordMatches("", ""));
    EXPECT_TRUE(passwordNeedsRehash("segreta")) << "plain";
    const std::string good = hashPassword("x", "salt", 10).value(), hash64(64, '0');
    for (const std::string& damaged :
         {"pbkdf2-sha256$0$73616c74$" + hash64, std::string("pbkdf2-sha256$10$zz$00"), good.substr(0, good.size() - 2),
          good + "$extra", "pbkdf2-sha256$99999999999$00$" + hash64, "pbkdf2-sha256$10000001$00$" + hash64,
          "pbkdf2-sha256$10$" + std::string(130, 'a') + "$" + hash64, "pbkdf2-sha256$10$$" + hash64}) {
        EXPECT_FALSE(isPasswordHash(damaged) || passwordMatches(damaged, "x")) << damaged;
    }
}

TEST(Password, NewHashesAndRenewal) {
    test::QuickPasswords quick;
    const std::string a = hashPassword("x").value();
    EXPECT_NE(a, hashPassword("x").value()) << "random salts";
    EXPECT_TRUE(passwordMatches(a, "x") && !passwordNeedsRehash(a));
    EXPECT_TRUE(passwordNeedsRehash(hashPassword("x", "salt", passwordWork() - 1).value()));
    EXPECT_FALSE(passwordNeedsRehash(hashPassword("x", "salt", passwordWork() + 1).value())) << "never lowered";
}

TEST(Password, NewPasswordChecks) {
    const std::string longest(kPasswordMaxCharacters, 'a');
    std::string accented;  // as many characters, twice the bytes
    for (std::size_t i = 0; i < kPasswordMaxCharacters; ++i) accented += "\xC3\xA8";
    EXPECT_EQ(newPasswordProblem("abc", "ABC"), msg::PasswordsDiffer);
    const std::pair<std::string, MessageId> cases[] = {  // typed twice the same
        {"", msg::PasswordBlank}, {"\xC2\xA0", msg::PasswordBlank}, {"\xE3\x80\x80 ", msg::PasswordBlank},  // no-break, ideographic
        {" a ", {}}, {"a\tb", msg::PasswordControlCharacter}, {"a\xC2\x85", msg::PasswordControlCharacter},  // a C1 control
        {longest, {}}, {accented, {}}, {longest + "a", msg::PasswordTooLong}, {std::string("a\0b", 3), msg::PasswordControlCharacter},
        // Bytes that are not UTF-8 (a code page's "caffè", a lone surrogate): no key types them.
        {"caff\xE8", msg::PasswordNotUtf8}, {"a\xED\xA0\x80", msg::PasswordNotUtf8}, {"caff\xC3\xA8", {}},
    };
    for (const auto& [typed, problem] : cases) EXPECT_EQ(newPasswordProblem(typed, typed), problem) << typed.substr(0, 20);
    // Longer than any password: refused without hashing a megabyte.
    const std::string stored = hashPassword(longest, "salt", 10).value();
    EXPECT_TRUE(passwordMatches(stored, longest));
    EXPECT_FALSE(passwordMatches(stored, longest + "a") || passwordMatches(stored, std::string(1 << 20, 'a')));
    // Nor is one that is not UTF-8 ever typed: a plain old value so written opens nothing.
    EXPECT_FALSE(passwordMatches("caff\xE8", "caff\xE8"));
}
}  // namespace
}  // namespace ombrix::core
