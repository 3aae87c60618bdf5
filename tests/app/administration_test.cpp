#include "app/administration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "fakes/controller_rig.h"

namespace ombrix::app {
namespace {

using core::TimerId;

// The consent prompt: what was started, what the elevated program did to
// the store meanwhile, and how it ended.
struct FakeStarter final : ElevatedStarter {
    std::vector<std::string> started;
    std::function<void()> meanwhile;
    ElevatedOutcome outcome{ElevatedOutcome::Outcome::Ended, 0, {}};

    ElevatedOutcome runForm(AdminForm form) override {
        started.push_back(std::string(adminFormName(form)));
        if (meanwhile) meanwhile();
        return outcome;
    }
    ElevatedOutcome runControl(const std::vector<std::string>& arguments) override {
        std::string line = "ombrixctl";
        for (const auto& a : arguments) line += " " + a;
        started.push_back(line);
        return outcome;
    }
};

class AdministrationTest : public ::testing::Test, protected test::ControllerRig {
protected:
    AdministrationTest() : ControllerRig("0343=serve un amministratore\r\n0344=non fatto:\r\n") {
        sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Laboratorio');");
        controller.setProfileLists(&lists);
        EXPECT_EQ(controller.startUp(), core::Controller::StartResult::Running);
        journal.entries.clear();
    }
    std::vector<MessageId> shownIds() const {
        std::vector<MessageId> ids;
        for (const auto& m : dialogs.shown) ids.push_back(m.messageId);
        return ids;
    }

    core::Controller controller{machine(), store};
    FakeStarter starter;
    std::vector<std::string> here;  // forms shown in this process
    std::vector<bool> mainForm;     // the main form switched off and on
    AdministrationForms forms{{controller, env, store, starter, [this](bool on) { mainForm.push_back(on); },
                               [this](AdminForm f) {
                                   here.push_back(std::string(adminFormName(f)));
                                   return true;
                               }}};
};

TEST_F(AdministrationTest, WithoutRightsEachFormOpensElevatedAndTheProgramTakesWhatItChanged) {
    struct Case {
        AdminForm form;
        const char* change;  // what the elevated form writes
        std::function<bool()> taken;
    };
    const Case cases[] = {
        {AdminForm::Profiles, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (3, 'Biblioteca');",
         [this] {
             const bool listed = std::any_of(view.profiles.begin(), view.profiles.end(),
                                             [](const core::ProfileItem& p) { return p.name == "Biblioteca"; });
             return listed && journal.inOrder({"tmrProcessiVietati off", "view profiles", "load processes"});
         }},
        {AdminForm::TimeSlots, "UPDATE Opzioni SET FasceOrarie = -1;",
         [this] { return controller.timeSlotSwitch(); }},
        {AdminForm::Log, "UPDATE Opzioni SET LogSiti = -1;",
         [this] {
             return controller.logSwitch() && timers.isEnabled(TimerId::SiteLog);
         }},
        {AdminForm::Options, "UPDATE Opzioni SET PasswordAdmin = 'x';", [] { return true; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(adminFormName(c.form));
        starter.started.clear();
        mainForm.clear();
        journal.entries.clear();
        starter.meanwhile = [&] {
            EXPECT_EQ(mainForm, std::vector<bool>{false}) << "the main form is off while the form is open";
            sql(c.change);
        };
        EXPECT_TRUE(forms.open(c.form));
        EXPECT_EQ(starter.started, std::vector<std::string>{std::string(adminFormName(c.form))});
        EXPECT_EQ(mainForm, (std::vector<bool>{false, true}));
        EXPECT_TRUE(c.taken());
    }
    EXPECT_TRUE(here.empty());
    EXPECT_TRUE(dialogs.shown.empty());
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "DataBase" / "DataBase.copia.db"))
        << "the store's copy is the elevated form's to keep";

    // The options form closed without a new password.
    starter.meanwhile = nullptr;
    starter.outcome.exitCode = kAdminUnsaved;
    EXPECT_FALSE(forms.open(AdminForm::Options));
}

TEST_F(AdministrationTest, ElevatedTheFormsOpenHereUnlessTheTestsActAsAPupil) {
    system.isElevated = true;
    EXPECT_TRUE(forms.open(AdminForm::Profiles));
    EXPECT_TRUE(std::filesystem::exists(dir.path() / "DataBase" / "DataBase.copia.db")) << "the store's copy kept";
    EXPECT_TRUE(forms.open(AdminForm::Log));
    EXPECT_EQ(here, (std::vector<std::string>{"profili", "log"}));
    EXPECT_TRUE(starter.started.empty());
    EXPECT_TRUE(mainForm.empty());

    system.env["OMBRIX_AS_STANDARD_USER"] = "1";
    EXPECT_TRUE(forms.open(AdminForm::TimeSlots));
    EXPECT_EQ(starter.started, std::vector<std::string>{"periodi"});
}

// Windows went down while the editor was open: the shutdown ended it, and
// nothing is read again (the store stays closed, the machine given back).
TEST_F(AdministrationTest, AFormEndedByTheShutdownReadsNothingAgain) {
    system.isElevated = true;
    AdministrationForms ending{{controller, env, store, starter, [](bool) {}, [this](AdminForm) {
                                    controller.beginShutdown();
                                    controller.tickExit();
                                    return true;
                                }}};
    EXPECT_TRUE(ending.open(AdminForm::Profiles));
    EXPECT_EQ(journal.find("view profiles"), -1);
    EXPECT_FALSE(store.connection.isOpen());
}

TEST_F(AdministrationTest, ADeclinedPromptOrAFailedStartIsToldAndChangesNothing) {
    starter.outcome = {ElevatedOutcome::Outcome::Refused, 1, "cancelled"};
    EXPECT_FALSE(forms.open(AdminForm::Options));
    sql("UPDATE Opzioni SET LogSiti = -1;");
    controller.setLogSwitch(true);
    EXPECT_FALSE(forms.open(AdminForm::Log));
    EXPECT_TRUE(controller.logSwitch()) << "the switch stays as it was";
    EXPECT_EQ(shownIds(), (std::vector{msg::NeedsWindowsAdministrator, msg::NeedsWindowsAdministrator}));
    EXPECT_EQ(dialogs.shown[0].text, "serve un amministratore");
    EXPECT_EQ(mainForm, (std::vector<bool>{false, true, false, true})) << "the main form is given back";

    dialogs.shown.clear();
    starter.outcome = {ElevatedOutcome::Outcome::Failed, 1, "Impossibile trovare il file specificato."};
    EXPECT_FALSE(forms.open(AdminForm::Profiles));
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].text, "Impossibile trovare il file specificato.");
    EXPECT_TRUE(journal.inOrder({"view profiles", "load processes"})) << "the editor's timers are back on";
}

TEST_F(AdministrationTest, TheProfileChosenIsInUseAtOnceAndSavedThroughAnElevatedOmbrixctl) {
    forms.chooseProfile("Laboratorio");
    EXPECT_EQ(controller.profileInUse(), 2);
    EXPECT_GE(journal.find("load sites 2"), 0);
    // By identifier: another profile may be named "2".
    EXPECT_EQ(starter.started, std::vector<std::string>{"ombrixctl --elevated use #2"});
    EXPECT_TRUE(dialogs.shown.empty());

    // ombrixctl refused: its reason went to a stream nobody reads.
    starter.outcome.exitCode = 1;
    forms.chooseProfile("Laboratorio");
    EXPECT_EQ(shownIds(), std::vector{msg::ChangeNotCompleted});
    starter.outcome = {ElevatedOutcome::Outcome::Refused, 1, {}};
    forms.chooseProfile("Laboratorio");
    EXPECT_EQ(shownIds(), (std::vector{msg::ChangeNotCompleted, msg::NeedsWindowsAdministrator}));
    EXPECT_EQ(controller.profileInUse(), 2) << "in use for this session all the same";

    starter.started.clear();
    system.isElevated = true;
    forms.chooseProfile("Laboratorio");
    EXPECT_TRUE(starter.started.empty()) << "an elevated program writes the store itself";
}

TEST(AdministrationRequest, RunsOnlyWithTheRealTokenAndAKnownForm) {
    struct Case {
        std::vector<std::string> arguments;
        bool elevated;
        std::optional<AdminForm> form;
        std::optional<MessageId> refusal;  // none: not the administration mode
    };
    const Case cases[] = {
        {{}, true, std::nullopt, std::nullopt},
        {{"/altro"}, true, std::nullopt, std::nullopt},
        {{"/amministra", "profili"}, true, AdminForm::Profiles, MessageId{}},
        {{"/AMMINISTRA", "Periodi"}, true, AdminForm::TimeSlots, MessageId{}},
        {{"/amministra", "opzioni"}, true, AdminForm::Options, MessageId{}},
        {{"/amministra", "log"}, true, AdminForm::Log, MessageId{}},
        {{"/amministra", "browser"}, true, AdminForm::BrowserOptions, MessageId{}},
        {{"/amministra", "profili"}, false, std::nullopt, msg::NeedsWindowsAdministrator},
        {{"/amministra", "giochi"}, true, std::nullopt, msg::ChangeNotCompleted},
        {{"/amministra"}, true, std::nullopt, msg::ChangeNotCompleted},
        {{"/amministra", "log", "log"}, true, std::nullopt, msg::ChangeNotCompleted},
    };
    for (const Case& c : cases) {
        test::FakeSystem system;
        system.isElevated = c.elevated;
        // The tests' variable asks for the prompt; it never stands for rights.
        system.env["OMBRIX_AS_STANDARD_USER"] = "1";
        const auto request = administrationRequest(c.arguments, system);
        const std::string what = c.arguments.empty() ? "" : c.arguments.back();
        if (!c.refusal) {
            EXPECT_FALSE(request) << what;
            continue;
        }
        ASSERT_TRUE(request) << what;
        EXPECT_EQ(request->form, c.form) << what;
        EXPECT_EQ(request->refusal, *c.refusal) << what;
    }
}

}  // namespace
}  // namespace ombrix::app
