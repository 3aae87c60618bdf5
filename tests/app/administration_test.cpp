#include "app/administration.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "fakes/controller_rig.h"

namespace ombrix::app {
namespace {

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
    const std::tuple<AdminForm, const char*, std::function<bool()>> cases[] = {
        {AdminForm::Profiles, "INSERT INTO Profili (IDProfilo, Profilo) VALUES (3, 'Biblioteca');",
         [this] { return view.profiles.size() == 3 && journal.inOrder({"tmrProcessiVietati off", "view profiles"}); }},
        {AdminForm::TimeSlots, "UPDATE Opzioni SET FasceOrarie = -1;", [this] { return controller.timeSlotSwitch(); }},
        {AdminForm::Log, "UPDATE Opzioni SET LogSiti = -1;",
         [this] { return controller.logSwitch() && timers.isEnabled(core::TimerId::SiteLog); }},
    };
    for (const auto& [form, change, taken] : cases) {
        SCOPED_TRACE(adminFormName(form));
        starter.started.clear();
        mainForm.clear();
        journal.entries.clear();
        starter.meanwhile = [&, change = change] {
            EXPECT_EQ(mainForm, std::vector<bool>{false}) << "the main form is off while the form is open";
            sql(change);
        };
        EXPECT_TRUE(forms.open(form));
        EXPECT_EQ(starter.started, std::vector<std::string>{std::string(adminFormName(form))});
        EXPECT_EQ(mainForm, (std::vector<bool>{false, true}));
        EXPECT_TRUE(taken());
    }
    EXPECT_TRUE(here.empty());
    EXPECT_TRUE(dialogs.shown.empty());
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "DataBase" / "DataBase.copia.db"))
        << "the store's copy is the elevated form's to keep";
    starter.meanwhile = nullptr;
    starter.outcome.exitCode = kAdminUnsaved;  // the options form closed without a new password
    EXPECT_FALSE(forms.open(AdminForm::Options));

    // Elevated, the forms open here, unless the tests act as a pupil.
    starter.started.clear();
    starter.outcome.exitCode = 0;
    system.isElevated = true;
    EXPECT_TRUE(forms.open(AdminForm::Profiles));
    EXPECT_TRUE(std::filesystem::exists(dir.path() / "DataBase" / "DataBase.copia.db")) << "the store's copy kept";
    EXPECT_EQ(here, std::vector<std::string>{"profili"});
    system.env["OMBRIX_AS_STANDARD_USER"] = "1";
    EXPECT_TRUE(forms.open(AdminForm::TimeSlots));
    EXPECT_EQ(starter.started, std::vector<std::string>{"periodi"});
}

TEST_F(AdministrationTest, ADeclinedPromptOrAFailedStartIsToldAndChangesNothing) {
    starter.outcome = {ElevatedOutcome::Outcome::Refused, 1, "cancelled"};
    sql("UPDATE Opzioni SET LogSiti = -1;");
    controller.setLogSwitch(true);
    EXPECT_FALSE(forms.open(AdminForm::Log));
    EXPECT_TRUE(controller.logSwitch()) << "the switch stays as it was";
    EXPECT_EQ(shownIds(), std::vector{msg::NeedsWindowsAdministrator});
    EXPECT_EQ(dialogs.shown[0].text, "serve un amministratore");
    EXPECT_EQ(mainForm, (std::vector<bool>{false, true})) << "the main form is given back";
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
    // By identifier: another profile may be named "2".
    EXPECT_EQ(starter.started, std::vector<std::string>{"ombrixctl --elevated use #2"});
    EXPECT_TRUE(dialogs.shown.empty());
    starter.outcome.exitCode = 1;  // ombrixctl refused: its reason went to a stream nobody reads
    forms.chooseProfile("Laboratorio");
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
    const struct {
        std::vector<std::string> arguments;
        bool elevated;
        std::optional<AdminForm> form;
        std::optional<MessageId> refusal;  // none: not the administration mode
    } cases[] = {
        {{}, true, std::nullopt, std::nullopt},
        {{"/altro"}, true, std::nullopt, std::nullopt},
        {{"/AMMINISTRA", "Periodi"}, true, AdminForm::TimeSlots, MessageId{}},
        {{"/amministra", "browser"}, true, AdminForm::BrowserOptions, MessageId{}},
        {{"/amministra", "profili"}, false, std::nullopt, msg::NeedsWindowsAdministrator},
        {{"/amministra", "giochi"}, true, std::nullopt, msg::ChangeNotCompleted},
        {{"/amministra"}, true, std::nullopt, msg::ChangeNotCompleted},
        {{"/amministra", "log", "log"}, true, std::nullopt, msg::ChangeNotCompleted},
    };
    for (const auto& c : cases) {
        test::FakeSystem system;
        system.isElevated = c.elevated;
        // The tests' variable asks for the prompt; it never stands for rights.
        system.env["OMBRIX_AS_STANDARD_USER"] = "1";
        const auto request = administrationRequest(c.arguments, system);
        ASSERT_EQ(request.has_value(), c.refusal.has_value()) << c.arguments.size();
        if (!request) continue;
        EXPECT_EQ(request->form, c.form);
        EXPECT_EQ(request->refusal, *c.refusal);
    }
}

}  // namespace
}  // namespace ombrix::app
