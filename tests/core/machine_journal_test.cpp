#include "core/machine_journal.h"

#include <gtest/gtest.h>

#include "core/machine_profile.h"
#include "fakes/fake_machine_profile.h"
#include "fakes/fixtures.h"
#include "platform/file_registry.h"

namespace ombrix::core {
namespace {

using K = SavedSetting::Kind;
using V = SavedSetting::Value;
using platform::RegRoot;

std::vector<SavedSetting> awkwardSettings() {
    return {
        {K::Registry, RegRoot::CurrentUser, kInternetExplorerMain, kStartPage, V::Text, "http://a\tb\\c\r\nd/è"},
        {K::Registry, RegRoot::CurrentUser, kZone3, kDownloadValue, V::Dword, "4294967295"},
        {K::Registry, RegRoot::LocalMachine, "Software\\X", "", V::Absent, ""},
        {K::DefaultPrinter, RegRoot::CurrentUser, "", "", V::Text, "Laser,winspool,Ne01:"},
        {K::FirefoxHomePage, RegRoot::CurrentUser, "C:\\Users\\a b\\Profiles\\x.default", "", V::Absent, ""},
        {K::Desktop, RegRoot::CurrentUser, "", "", V::Text, ""},
    };
}

TEST(MachineJournalFormat, EveryValueComesBackAsWritten) {
    const auto settings = awkwardSettings();
    const auto parsed = parseJournal(serialiseJournal(settings));
    ASSERT_TRUE(parsed);
    EXPECT_EQ(*parsed, settings);
    EXPECT_EQ(parseJournal(serialiseJournal({})), std::vector<SavedSetting>{});
}

TEST(MachineJournalFormat, ACutOrChangedByteIsNeverTrusted) {
    const std::string whole = serialiseJournal(awkwardSettings());
    for (std::size_t n = 0; n < whole.size(); ++n) {
        EXPECT_FALSE(parseJournal(whole.substr(0, n))) << "cut at " << n;
        std::string flipped = whole;
        flipped[n] = static_cast<char>(flipped[n] ^ 0x20);
        EXPECT_FALSE(parseJournal(flipped)) << "byte " << n << " changed";
    }
    EXPECT_FALSE(parseJournal(whole + "registry\tHKCU\ta\tb\tdword\t1\n")) << "a record after the end";
}

// A start that finds a journal cut anywhere gives nothing back and sets it aside.
TEST(MachineJournalFile, ATornJournalIsNeverApplied) {
    test::TempDir dir;
    test::Journal log;
    test::FakePrinters printers(log);
    test::FakeDesktopLock desktop(log);
    test::SwitchableWriter writer;
    const std::string whole = serialiseJournal(awkwardSettings());
    for (std::size_t n = 0; n < whole.size(); n += 3) {
        platform::FileRegistry registry;
        registry.writeString(RegRoot::CurrentUser, kInternetExplorerMain, kStartPage, "mine");
        registry.writeString(RegRoot::LocalMachine, "Software\\X", "", "kept");
        MachineJournal journal(writer, platform::realFileSystem());
        journal.setPath(dir.file("j" + std::to_string(n)));
        test::writeFile(journal.path(), whole.substr(0, n));

        const Recovery r = giveBackJournal(journal, {registry, printers, desktop});
        EXPECT_EQ(r.state, MachineJournal::State::Damaged) << n;
        EXPECT_TRUE(r.settings.empty());
        EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, kInternetExplorerMain, kStartPage), "mine") << n;
        EXPECT_EQ(registry.readValue(RegRoot::LocalMachine, "Software\\X", ""), "kept") << n;
        EXPECT_FALSE(platform::realFileSystem().fileExists(journal.path())) << "set aside, not in the way";
        EXPECT_EQ(readWholeFile(journal.path() + ".damaged"), whole.substr(0, n));
    }
    EXPECT_TRUE(log.entries.empty()) << "no printer or desktop touched";
}

TEST(MachineJournalFile, TheFirstValueOfARunIsTheOneKept) {
    test::TempDir dir;
    test::SwitchableWriter writer;
    MachineJournal journal(writer, platform::realFileSystem());
    journal.setPath(dir.file("j"));
    const SavedSetting first{K::Registry, RegRoot::CurrentUser, kZone3, kDownloadValue, V::Absent, ""};
    SavedSetting later = first;
    later.path = "SOFTWARE\\MICROSOFT\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3";  // case differs
    later.type = V::Dword;
    later.value = "3";
    EXPECT_TRUE(journal.remember(first));
    EXPECT_TRUE(journal.remember(later));
    EXPECT_EQ(journal.read().settings, std::vector<SavedSetting>{first});
    EXPECT_EQ(writer.writes, 1);

    // A journal that cannot be written still remembers, for the orderly shutdown.
    writer.refuse = true;
    const SavedSetting page{K::Registry, RegRoot::CurrentUser, kInternetExplorerMain, kStartPage, V::Text, "x"};
    EXPECT_FALSE(journal.remember(page));
    EXPECT_NE(journal.find(page.key()), nullptr);
    EXPECT_EQ(journal.read().settings, std::vector<SavedSetting>{first}) << "the file on disk is the old one, whole";

    writer.refuse = false;
    EXPECT_TRUE(journal.reset({}));
    EXPECT_EQ(journal.read().state, MachineJournal::State::None) << "an empty journal is no file";
}

}  // namespace
}  // namespace ombrix::core
