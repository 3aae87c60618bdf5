#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/controller.h"
#include "core/schema.h"
#include "core/settings_reg.h"

namespace ombrix::app {
namespace {

class CtlOptions : public CtlFixture {
protected:
    CtlOptions() : CtlFixture("0310=Impossibile scrivere nel database:\r\n0313=Impossibile leggere il database:\r\n") {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
    }
    [[nodiscard]] std::optional<std::string> runEntry() {
        return registry.readValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle);
    }
};

TEST_F(CtlOptions, ShowsAndSetsEachOption) {
    ASSERT_EQ(run({"option"}), kOk);
    EXPECT_EQ(out.str(), "keyboard off\nnopopup off\nnoprint off\n");
    EXPECT_EQ(run({"option", "keyboard", "on"}), kOk);
    EXPECT_EQ(run({"option", "noprint", "on"}), kOk);
    EXPECT_EQ(run({"option", "noprint", "off"}), kOk);
    ASSERT_EQ(run({"option"}), kOk);
    EXPECT_EQ(out.str(), "keyboard on\nnopopup off\nnoprint off\n");
    ASSERT_EQ(run({"option", "keyboard"}), kOk);
    EXPECT_EQ(out.str(), "keyboard on\n");

    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"option", "colour", "on"},
                                                  {"option", "keyboard", "si"},
                                                  {"option", "keyboard", "on", "off"}}) {
        EXPECT_EQ(run(wrong), kUsage) << wrong[1];
    }
    // A store of an older structure has no such column: said, and nothing written.
    sql(db, "ALTER TABLE Opzioni DROP COLUMN NoPopup;");
    EXPECT_EQ(run({"option", "nopopup", "on"}), kRefused);
    EXPECT_EQ(err.str().substr(0, 5), "0310:");
    EXPECT_EQ(run({"option"}), kRefused);
    EXPECT_EQ(out.str(), "keyboard on\n");
    EXPECT_EQ(err.str().substr(0, 5), "0313:");
}

TEST_F(CtlOptions, AutostartNamesTheProgramBesideItOnlyWhenItIsThere) {
    const std::string program = dir.file("ombrix.exe");
    EXPECT_EQ(ctl({"autostart", "on"}), kRefused);
    EXPECT_FALSE(runEntry()) << "no program, no entry";
    test::writeFile(program, "MZ");
    ASSERT_EQ(ctl({"autostart", "on"}), kOk);
    EXPECT_EQ(runEntry(), program);
    ASSERT_EQ(ctl({"autostart"}), kOk);
    EXPECT_EQ(out.str(), "autostart on\n");
    ASSERT_EQ(ctl({"autostart", "off"}), kOk);
    EXPECT_FALSE(runEntry());
    EXPECT_EQ(ctl({"autostart", "off"}), kOk) << "none is none";
    ASSERT_EQ(ctl({"autostart"}), kOk);
    EXPECT_EQ(out.str(), "autostart off\n");
    EXPECT_EQ(ctl({"autostart", "yes"}), kUsage);
}

}  // namespace
}  // namespace ombrix::app
