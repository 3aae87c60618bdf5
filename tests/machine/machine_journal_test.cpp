#include "machine/machine_journal.h"

#include <gtest/gtest.h>

#include <array>

#include "fakes/fake_machine.h"
#include "fakes/fake_machine_profile.h"
#include "fakes/fixtures.h"
#include "machine/machine_profile.h"
#include "platform/crypto.h"
#include "platform/file_registry.h"

namespace ombrix::core {
namespace {

using K = SavedSetting::Kind;
using V = SavedSetting::Value;
using platform::RegRoot;

const std::vector<SavedSetting> kSettings = {
    {K::Registry, RegRoot::CurrentUser, kInternetExplorerMain, kStartPage, V::Text, "http://a\tb\\c\r\nd/è"},
    {K::Registry, RegRoot::LocalMachine, kZone3, kDownloadValue, V::Dword, "4294967295"},
    {K::Registry, RegRoot::CurrentUser, "Software\\X", "", V::Absent, ""},
    {K::DefaultPrinter, RegRoot::CurrentUser, "", "", V::Text, "Laser,winspool,Ne01:"},
    {K::FirefoxHomePage, RegRoot::CurrentUser, "C:\\Users\\a b\\x.default", "", V::Absent, ""},
    {K::Desktop, RegRoot::CurrentUser, "", "", V::Text, ""},
    {K::CreatedKey, RegRoot::CurrentUser, "Software\\Policies\\Y", "", V::Absent, ""},
};

TEST(MachineJournal, OnlyAWholeJournalIsTrusted) {
    const std::string whole = serialiseJournal(kSettings);
    EXPECT_EQ(parseJournal(whole), kSettings);
    for (std::size_t n = 0; n < whole.size(); ++n) {
        EXPECT_FALSE(parseJournal(whole.substr(0, n))) << "cut at " << n;
        std::string changed = whole;
        changed[n] = static_cast<char>(changed[n] ^ 0x20);
        EXPECT_FALSE(parseJournal(changed)) << "byte " << n << " changed";
    }
}

// A start that finds a journal cut anywhere, or larger than the program
// writes, gives nothing back and sets it aside (a large one by a rename,
// never read or copied whole).
TEST(MachineJournal, ATornOrHugeJournalIsNeverApplied) {
    test::Journal log;
    test::FakePrinters printers(log);
    test::FakeDesktopLock desktop(log);
    test::SwitchableWriter writer;
    writer.refuse = true;  // nothing of this test reaches the disk
    test::FakeFileSystem files;
    platform::FileRegistry registry;
    registry.writeString(RegRoot::CurrentUser, "Software\\X", "", "kept");
    const std::string whole = serialiseJournal(kSettings);
    for (std::size_t n = 0; n <= whole.size(); ++n) {
        MachineJournal journal(writer, files);
        journal.setPath("C:\\U\\Ripristino.journal");
        files.files = {{journal.path(), whole.substr(0, n)}};
        files.sizes[journal.path()] = n == whole.size() ? std::uintmax_t{1} << 30 : n;
        files.copies = 0;
        files.bytesRead = 0;
        EXPECT_EQ(giveBackJournal(journal, {registry, printers, desktop}).state, MachineJournal::State::Damaged) << n;
        EXPECT_EQ(files.files[journal.path() + ".damaged"], whole.substr(0, n)) << "kept aside for a person";
        EXPECT_EQ(journal.read().state, MachineJournal::State::None) << "and out of the way";
        EXPECT_EQ(files.copies, 0) << "moved aside, not copied";
        EXPECT_LE(files.bytesRead, kJournalLimit + 1);
    }
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, "Software\\X", ""), "kept");
    EXPECT_TRUE(log.entries.empty()) << "no printer or desktop touched";
}

// A journal without created keys is the previous version's, byte for byte:
// either program gives back what the other wrote. A key record belongs to
// version 2 only, and holds a path alone.
TEST(MachineJournal, TheVersionWithoutKeysIsReadAndWrittenAsBefore) {
    const std::string previous =
        "ombrix machine journal 1\n"
        "registry\tHKCU\tSoftware\\\\X\tN\tdword\t7\n"
        "printer\tHKCU\t\t\ttext\tLaser,winspool,Ne01:\n"
        "end\t2\tf33f82c235d44d69a4a12cbb3e9c6925186df68d2634f0ec601aab85bf975867\n";
    const std::vector<SavedSetting> settings = {{K::Registry, RegRoot::CurrentUser, "Software\\X", "N", V::Dword, "7"},
                                                kSettings[3]};
    EXPECT_EQ(parseJournal(previous), settings);
    EXPECT_EQ(serialiseJournal(settings), previous);
    EXPECT_EQ(serialiseJournal(kSettings).substr(0, 25), "ombrix machine journal 2\n");
    const auto sealed = [](const std::string& version, const std::string& record) {
        const std::string body = "ombrix machine journal " + version + "\n" + record + "\n";
        std::array<std::uint8_t, 32> sum{};
        EXPECT_TRUE(platform::sha256(body, sum));
        std::string hex;
        for (const auto b : sum) hex += std::string{"0123456789abcdef"[b >> 4], "0123456789abcdef"[b & 15]};
        return parseJournal(body + "end\t1\t" + hex + "\n").has_value();
    };
    EXPECT_TRUE(sealed("2", "key\tHKCU\tSoftware\\\\Y\t\tabsent\t"));
    EXPECT_FALSE(sealed("1", "key\tHKCU\tSoftware\\\\Y\t\tabsent\t"));
    EXPECT_FALSE(sealed("2", "key\tHKCU\t\t\tabsent\t"));
    EXPECT_FALSE(sealed("2", "key\tHKCU\tSoftware\\\\Y\tN\tabsent\t"));
    EXPECT_FALSE(sealed("2", "key\tHKCU\tSoftware\\\\Y\t\tdword\t1"));
    EXPECT_FALSE(sealed("3", "registry\tHKCU\tSoftware\\\\X\tN\tdword\t7"));
}

// The bound is above the largest journal the program can write: six browser
// lists of a thousand values, each having replaced a 2 KB value. Nothing
// larger is written, and a failed write leaves the old file, while the
// first value of a run is kept for the orderly shutdown.
TEST(MachineJournal, TheLargestJournalFitsAndAFailedWriteLeavesTheOldFile) {
    std::vector<SavedSetting> largest = kSettings;
    for (const char* list : {"A", "B", "C", "D", "E", "F"}) {
        for (std::size_t n = 1; n <= kPolicyListLimit; ++n) {
            largest.push_back({K::Registry, RegRoot::CurrentUser, std::string(kFirefoxPolicies) + "\\WebsiteFilter\\" + list,
                               std::to_string(n), V::Text, std::string(2048, 'x')});
        }
    }
    EXPECT_LT(serialiseJournal(largest).size(), kJournalLimit);

    test::TempDir dir;
    test::SwitchableWriter writer;
    MachineJournal journal(writer, platform::realFileSystem());
    journal.setPath(dir.file("j"));
    SavedSetting later = kSettings[1];
    later.path = "SOFTWARE\\MICROSOFT\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3";
    later.value = "3";
    EXPECT_TRUE(journal.remember(kSettings[1]));
    EXPECT_TRUE(journal.remember(later));
    EXPECT_EQ(journal.read().settings, std::vector<SavedSetting>{kSettings[1]}) << "the first value of a run";
    SavedSetting huge = kSettings[0];
    huge.name = "Enorme";
    huge.value.assign(kJournalLimit, 'x');
    EXPECT_FALSE(journal.remember(huge));
    writer.refuse = true;
    EXPECT_FALSE(journal.remember(kSettings[0]));
    EXPECT_NE(journal.find(kSettings[0].key()), nullptr) << "kept for the orderly shutdown";
    EXPECT_EQ(journal.read().settings, std::vector<SavedSetting>{kSettings[1]}) << "the old journal stays";
}

// The journal lives in the user's own folder; an old one beside the store
// moves there once, and one that cannot leave is used where it is.
TEST(JournalLocation, TheUsersOwnFolderAndTheOneMoveFromBesideTheStore) {
    const std::string store = "C:\\Ombrix\\DataBase";
    const std::string beside = store + "\\Ripristino.journal";
    const std::string own = "C:\\Users\\alunno\\AppData\\Local\\Ombrix\\Ripristino.journal";
    const struct {
        const char* name;
        bool localFolder, oldJournal, storeReadOnly;
        std::string expected;
        bool oldLeft;
    } cases[] = {
        {"no local folder: beside the store", false, false, false, beside, false},
        {"the user's own folder", true, false, false, own, false},
        {"an old journal moves", true, true, false, own, false},
        {"an old one that cannot leave stays in use", true, true, true, beside, true},
    };
    for (const auto& c : cases) {
        test::FakeMachine m;
        auto [registry, files, system, env] = m.parts();
        if (c.localFolder) system.env["LOCALAPPDATA"] = "C:\\Users\\alunno\\AppData\\Local";
        if (c.oldJournal) files.files[beside] = "journal";
        if (c.storeReadOnly) files.readOnlyDirectories.insert(store);
        EXPECT_EQ(journalLocation(env, store), c.expected) << c.name;
        EXPECT_EQ(files.files.count(beside) > 0, c.oldLeft) << c.name;
        EXPECT_EQ(files.files.count(own) > 0, c.oldJournal && !c.oldLeft) << c.name;
    }
}

}  // namespace
}  // namespace ombrix::core
