#include "machine/machine_journal.h"

#include <gtest/gtest.h>

#include <array>
#include <tuple>

#include "fakes/fake_machine.h"
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
        std::string changed = whole;
        changed[n] = static_cast<char>(changed[n] ^ 0x20);
        EXPECT_FALSE(parseJournal(changed)) << "byte " << n << " changed";
    }
}

// A journal cut anywhere, or larger than the program writes, gives nothing back and is moved aside unread.
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
        files.copies = 0; files.bytesRead = 0;
        EXPECT_EQ(giveBackJournal(journal, {registry, printers, desktop}).state, MachineJournal::State::Damaged) << n;
        EXPECT_EQ(files.files[journal.path() + ".damaged"], whole.substr(0, n)) << "kept aside for a person";
        EXPECT_EQ(journal.read().state, MachineJournal::State::None) << "and out of the way";
        EXPECT_TRUE(files.copies == 0 && files.bytesRead <= kJournalLimit + 1) << "moved aside, not copied";
    }
    EXPECT_TRUE(registry.readValue(RegRoot::CurrentUser, "Software\\X", "") == "kept" && log.entries.empty());
}

// A key record belongs to version 2 only, and holds a path alone.
TEST(MachineJournal, AKeyRecordIsAVersionTwoPathAlone) {
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
    for (const auto& [version, record] : {std::pair{"1", "key\tHKCU\tSoftware\\\\Y\t\tabsent\t"}, {"2", "key\tHKCU\t\t\tabsent\t"},
                                          {"2", "key\tHKCU\tSoftware\\\\Y\tN\tabsent\t"}, {"2", "key\tHKCU\tSoftware\\\\Y\t\tdword\t1"}})
        EXPECT_FALSE(sealed(version, record)) << version << " " << record;
}

// A failed write leaves the old file; the value is kept for the orderly shutdown.
TEST(MachineJournal, AFailedWriteLeavesTheOldFile) {
    test::TempDir dir;
    test::SwitchableWriter writer;
    MachineJournal journal(writer, platform::realFileSystem());
    journal.setPath(dir.file("j"));
    EXPECT_TRUE(journal.remember(kSettings[1]));
    EXPECT_EQ(journal.read().settings, std::vector<SavedSetting>{kSettings[1]});
    SavedSetting huge = kSettings[0];
    huge.name = "Enorme"; huge.value.assign(kJournalLimit, 'x');
    EXPECT_FALSE(journal.remember(huge));
    writer.refuse = true;
    EXPECT_FALSE(journal.remember(kSettings[0]));
    EXPECT_NE(journal.find(kSettings[0].key()), nullptr) << "kept for the orderly shutdown";
    EXPECT_EQ(journal.read().settings, std::vector<SavedSetting>{kSettings[1]}) << "the old journal stays";
}

// The user's own folder; an old journal beside the store moves there once, or stays if it cannot leave.
TEST(JournalLocation, TheUsersOwnFolderAndTheOneMoveFromBesideTheStore) {
    const std::string store = "C:\\Ombrix\\DataBase", beside = store + "\\Ripristino.journal";
    const std::string own = "C:\\Users\\alunno\\AppData\\Local\\Ombrix\\Ripristino.journal";
    // local folder, old journal, store read-only; where, old one left
    const std::tuple<bool, bool, bool, std::string, bool> cases[] = {
        {false, false, false, beside, false}, {true, false, false, own, false},
        {true, true, false, own, false},      {true, true, true, beside, true}};
    for (const auto& [localFolder, oldJournal, readOnly, expected, oldLeft] : cases) {
        test::FakeMachine m;
        auto [registry, files, system, env] = m.parts();
        if (localFolder) system.env["LOCALAPPDATA"] = "C:\\Users\\alunno\\AppData\\Local";
        if (oldJournal) files.files[beside] = "journal";
        if (readOnly) files.readOnlyDirectories.insert(store);
        EXPECT_EQ(journalLocation(env, store), expected) << localFolder << oldJournal << readOnly;
        EXPECT_EQ(std::pair(files.files.count(beside) > 0, files.files.count(own) > 0), std::pair(oldLeft, oldJournal && !oldLeft));
    }
}

}  // namespace
}  // namespace ombrix::core
