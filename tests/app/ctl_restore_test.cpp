#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/machine_profile.h"

namespace ombrix::app {
namespace {

using core::SavedSetting;
using platform::RegRoot;

class CtlRestore : public CtlFixture {
protected:
    CtlRestore() : CtlFixture("") {}
    std::string journal = dir.file(core::kJournalFileName);
};

TEST_F(CtlRestore, GivesBackWhatTheJournalHoldsOneLineEach) {
    EXPECT_EQ(run({"restore"}), kOk);
    EXPECT_EQ(out.str(), "nothing to restore\n");
    registry.writeDword(RegRoot::CurrentUser, core::kZone3, core::kDownloadValue, 3);
    registry.writeDword(RegRoot::CurrentUser, "Software\\Held", "Theirs", 1);
    const auto createdKey = [](const char* path) {
        return SavedSetting{SavedSetting::Kind::CreatedKey, RegRoot::CurrentUser, path, "", SavedSetting::Value::Absent, ""};
    };
    test::writeFile(journal, core::serialiseJournal({
        createdKey("Software\\Held"),
        createdKey(core::kZone3),
        {SavedSetting::Kind::Registry, RegRoot::CurrentUser, core::kZone3, core::kDownloadValue, SavedSetting::Value::Absent, ""},
        {SavedSetting::Kind::DefaultPrinter, RegRoot::CurrentUser, "", "", SavedSetting::Value::Text, "Old,drv,LPT1:"},
    }));
    EXPECT_EQ(run({"restore"}), kRefused) << "no printers here";
    EXPECT_EQ(out.str(), "restored HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3\\1803 = (removed)\n"
                         "restored key HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Zones\\3 = (removed)\n"
                         "restored key HKCU\\Software\\Held = (kept: another program's values are in it)\n");
    EXPECT_FALSE(registry.keyExists(RegRoot::CurrentUser, core::kZone3));
    EXPECT_EQ(err.str(), "ombrixctl: not restored, kept in the journal: default printer = \"Old,drv,LPT1:\"\n");
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, core::kZone3, core::kDownloadValue), std::nullopt);
    EXPECT_EQ(core::parseJournal(*readWholeFile(journal))->size(), 1u);

    test::writeFile(journal, "ombrix machine journal 1\nregistry\tHKCU");
    EXPECT_EQ(run({"restore"}), kRefused);
    EXPECT_NE(err.str().find("is damaged and was not applied"), std::string::npos);
}

}  // namespace
}  // namespace ombrix::app
