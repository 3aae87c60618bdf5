// The browsers' own policies written by ombrix.exe while a site list is in
// force, and every value given back and every key it created removed: after
// the exit command, and after a forced end by ombrixctl restore.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "machine/browser_policies.h"
#include "machine/machine_journal.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

const std::string kChrome = core::kChromePolicies;
const std::string kEdge = core::kEdgePolicies;
const std::string kFirefox = core::kFirefoxPolicies;

// A sample of what the profile's list writes, one line.
std::string policies() {
    const std::string block = kChrome + "\\URLBlocklist";
    return registryValue(block, "1") + " | " + registryValue(block, "2") + " | " + registryValue(block, "3") + " | " +
           registryValue(kChrome, "IncognitoModeAvailability") + " | " + registryValue(kEdge + "\\URLBlocklist", "1") +
           " | " + registryValue(kEdge, "DnsOverHttpsMode") + " | " +
           registryValue(kFirefox + "\\WebsiteFilter\\Block", "1") + " | " +
           registryValue(kFirefox, "DisablePrivateBrowsing") + " | " + registryValue(kFirefox + "\\DNSOverHTTPS", "Enabled");
}
constexpr const char* kWritten =
    "text xn--vietat-8wa.it | text chrome://extensions | text chrome://policy | dword 1 | text xn--vietat-8wa.it | "
    "text off | text *://*.xn--vietat-8wa.it/* | dword 1 | dword 0";
// The administrator's own block list had a second entry; nothing else was set.
constexpr const char* kBefore = "- | text own.example | - | - | - | - | - | - | -";

// The keys the program creates for its values, those there now.
std::string createdKeys() {
    std::string there;
    for (const std::string& key : {kEdge, kEdge + "\\URLBlocklist", std::string("Software\\Policies\\Mozilla"), kFirefox,
                                   kFirefox + "\\WebsiteFilter", kFirefox + "\\WebsiteFilter\\Block",
                                   kFirefox + "\\DNSOverHTTPS"}) {
        if (registryKeyExists(key)) there += (there.empty() ? "" : ", ") + key.substr(key.find("Policies\\") + 9);
    }
    return there;
}
constexpr const char* kCreated =
    "Microsoft\\Edge, Microsoft\\Edge\\URLBlocklist, Mozilla, Mozilla\\Firefox, Mozilla\\Firefox\\WebsiteFilter, "
    "Mozilla\\Firefox\\WebsiteFilter\\Block, Mozilla\\Firefox\\DNSOverHTTPS";

class BrowserPoliciesTest : public InstalledProgram {
protected:
    BrowserPoliciesTest() {
        install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (2, 'Siti', -1);"
                    "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, '.vietatò.it');"
                    "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, '*casino');"
                    "UPDATE Opzioni SET IDProfiloInUso = 2;");
        clear();
        const std::wstring own = L"own.example";
        RegSetKeyValueW(HKEY_CURRENT_USER, win32::toWide(kChrome + "\\URLBlocklist").c_str(), L"2", REG_SZ,
                        own.c_str(), static_cast<DWORD>((own.size() + 1) * sizeof(wchar_t)));
    }
    ~BrowserPoliciesTest() override {
        program.reset();
        if (journalExists()) (void)StartedProgram(restore()).waitForExit();
        clear();
    }
    // The browsers' keys, up to the makers' own.
    static void clear() {
        for (const char* key : {"Software\\Policies\\Google", core::kEdgePolicies, "Software\\Policies\\Mozilla"}) {
            RegDeleteTreeW(HKEY_CURRENT_USER, win32::toWide(key).c_str());
        }
    }
    [[nodiscard]] std::string restore() const {
        return test::quoted(test::builtProgram("ombrixctl.exe")) + " --db " +
               test::quoted(pathToUtf8(install.database())) + " restore";
    }
    [[nodiscard]] bool journalExists() const {
        return std::filesystem::exists(install.journal());
    }
};

// The keys the program created go with their values; the administrator's
// own block list key, holding its own entry, stays.
TEST_F(BrowserPoliciesTest, WrittenWhileTheListIsInForceAndGivenBackAfterAnExitOrAForcedEnd) {
    ASSERT_EQ(policies(), kBefore);
    ASSERT_EQ(createdKeys(), "");
    HWND main = start();
    ASSERT_TRUE(main);
    ASSERT_TRUE(waitFor([] { return policies() == kWritten; })) << policies();
    EXPECT_EQ(createdKeys(), kCreated);

    // The exit command.
    ShowWindow(main, SW_RESTORE);
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_CMBPROFILI)); }));
    EXPECT_TRUE(clickUntil(GetDlgItem(main, IDC_CMDESCI), [&] { return !program->running() || policies() == kBefore; }));
    EXPECT_EQ(program->waitForExit(30s), 0u);
    EXPECT_EQ(policies(), kBefore);
    EXPECT_EQ(createdKeys(), "");
    EXPECT_TRUE(registryKeyExists(kChrome + "\\URLBlocklist"));
    EXPECT_FALSE(journalExists());

    // A forced end, then ombrixctl restore.
    program = std::make_unique<StartedProgram>(launch());
    ASSERT_TRUE(waitFor([] { return policies() == kWritten; })) << policies();
    program.reset();
    EXPECT_EQ(policies(), kWritten) << "a forced end gives nothing back by itself";
    EXPECT_EQ(createdKeys(), kCreated);
    EXPECT_EQ(StartedProgram(restore()).waitForExit(), 0u);
    EXPECT_EQ(policies(), kBefore);
    EXPECT_EQ(createdKeys(), "");
    EXPECT_TRUE(registryKeyExists(kChrome + "\\URLBlocklist"));
    EXPECT_FALSE(journalExists());
}

}  // namespace
}  // namespace ombrix::e2e
