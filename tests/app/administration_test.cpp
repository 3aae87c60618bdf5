// The administrator's forms from a standard account, and what the program tells the system's event log.
#include "app/administration.h"
#include <gtest/gtest.h>
#include <filesystem>
#include <functional>
#include "core/policy_names.h"
#include "fakes/controller_rig.h"
#include "fakes/program_rig.h"

namespace ombrix::app {
namespace {
// The consent prompt: what was started, what it did meanwhile, how it ended.
struct FakeStarter final : ElevatedStarter {
    std::vector<std::string> started;
    std::function<void()> meanwhile;
    ElevatedOutcome outcome{ElevatedOutcome::Outcome::Ended, 0, {}};
    ElevatedOutcome runForm(AdminForm form) override {
        started.push_back(std::string(adminFormName(form)));
        if (meanwhile) meanwhile();
        return outcome;
    }
    ElevatedOutcome runControl(const std::vector<std::string>&) override { return outcome; }
};

struct AdministrationTest : ::testing::Test, test::ControllerRig {
    AdministrationTest() : ControllerRig("0343=serve un amministratore\r\n0344=non fatto:\r\n") {
        sql("INSERT INTO Profili (IDProfilo, Profilo) VALUES (2, 'Laboratorio');");
        controller.setProfileLists(&lists);
        EXPECT_EQ(controller.startUp(), core::Controller::StartResult::Running);
        journal.entries.clear();
    }
    bool copyKept() const { return std::filesystem::exists(dir.path() / "DataBase" / "DataBase.copia.db"); }

    core::Controller controller{machine(), store};
    FakeStarter starter;
    std::vector<std::string> here;  // forms shown in this process
    std::vector<bool> mainForm;     // the main form switched off and on
    AdministrationForms forms{{controller, env, store, starter, [this](bool on) { mainForm.push_back(on); },
                               [this](AdminForm f) { return here.emplace_back(adminFormName(f)), true; }}};
};

// Without rights a form opens in an elevated copy while the main form waits off, and the program
// takes what it changed; a declined or failed start is told and changes nothing.
TEST_F(AdministrationTest, WithoutRightsFormsOpenElevatedAndTheProgramTakesWhatChanged) {
    starter.meanwhile = [&] {
        EXPECT_EQ(mainForm.size() % 2, 1u) << "the main form is off while the form is open";
        sql("UPDATE Opzioni SET FasceOrarie = -1, LogSiti = -1;");
    };
    EXPECT_TRUE(forms.open(AdminForm::TimeSlots) && forms.open(AdminForm::Log));
    EXPECT_TRUE(controller.timeSlotSwitch() && controller.logSwitch() && timers.isEnabled(core::TimerId::SiteLog));
    EXPECT_EQ(mainForm, (std::vector<bool>{false, true, false, true}));
    EXPECT_TRUE(here.empty() && dialogs.shown.empty());
    EXPECT_FALSE(copyKept()) << "the store's copy is the elevated form's to keep";
    starter.meanwhile = nullptr; starter.outcome.exitCode = kAdminUnsaved;  // options closed without a new password
    EXPECT_FALSE(forms.open(AdminForm::Options));
    starter.outcome = {ElevatedOutcome::Outcome::Refused, 1, "cancelled"};
    EXPECT_FALSE(forms.open(AdminForm::Log));
    EXPECT_TRUE(controller.logSwitch()) << "the switch stays as it was";
    starter.outcome = {ElevatedOutcome::Outcome::Failed, 1, "Impossibile trovare il file specificato."};
    EXPECT_FALSE(forms.open(AdminForm::Profiles));
    ASSERT_EQ(dialogs.shown.size(), 2u);
    EXPECT_EQ(dialogs.shown[0].messageId, msg::NeedsWindowsAdministrator);
    EXPECT_EQ(dialogs.shown[0].text + "|" + dialogs.shown[1].text, "serve un amministratore|Impossibile trovare il file specificato.");
    // Elevated, the forms open here, unless the tests act as a pupil.
    starter.started.clear(); starter.outcome = {ElevatedOutcome::Outcome::Ended, 0, {}}; system.isElevated = true;
    EXPECT_TRUE(forms.open(AdminForm::Profiles) && copyKept() && here == std::vector<std::string>{"profili"});
    system.env["OMBRIX_AS_STANDARD_USER"] = "1";
    EXPECT_TRUE(forms.open(AdminForm::TimeSlots) && starter.started == std::vector<std::string>{"periodi"});
}

TEST(AdministrationRequest, RunsOnlyWithTheRealTokenAndAKnownForm) {
    using Request = std::optional<std::pair<std::optional<AdminForm>, MessageId>>;  // none: not the mode
    const std::tuple<std::vector<std::string>, bool, Request> cases[] = {
        {{"/altro"}, true, std::nullopt},
        {{"/AMMINISTRA", "Periodi"}, true, std::pair(AdminForm::TimeSlots, MessageId{})},
        {{"/amministra", "profili"}, false, std::pair(std::nullopt, msg::NeedsWindowsAdministrator)},
        {{"/amministra", "giochi"}, true, std::pair(std::nullopt, msg::ChangeNotCompleted)},
    };
    for (const auto& [arguments, elevated, expected] : cases) {
        test::FakeSystem system;
        system.isElevated = elevated; system.env["OMBRIX_AS_STANDARD_USER"] = "1";  // asks for the prompt, no rights
        const auto request = administrationRequest(arguments, system);
        EXPECT_EQ(request ? Request(std::pair(request->form, request->refusal)) : std::nullopt, expected) << arguments.size();
    }
}

using core::TimerId;
using platform::EventLevel;
using Written = test::FakeEventLog::Written;

struct Started : test::ProgramRig {
    Started() { EXPECT_EQ(controller.startUp(), core::Controller::StartResult::Running); eventLog.written.clear(); }
    void show(test::FakeBrowsers::Browser& browser, const std::string& address) {
        browsers.open(browser, address); host.onTimer(TimerId::SiteCheck);
    }
    test::QuickPasswords quick;
};

TEST(Events, EachIsReportedWithItsIdentifierLevelAndData) {
    const std::string longAddress = "http://www.giochi.example/" + std::string(300, 'a'), page = "http://giochi.example/";
    constexpr auto info = EventLevel::Information;
    const std::tuple<const char*, std::function<void(Started&)>, std::vector<Written>> cases[] = {
        {"a forbidden program ended, a forbidden window closed",
         [](Started& r) {
             r.processes.start("gioco.exe"); r.windows.add("Chat");
             r.host.onTimer(TimerId::ForbiddenProcesses); r.host.onTimer(TimerId::CloseWindows);
         },
         {{info, 1000, {"gioco.exe", "Classe"}}, {info, 1001, {"Chat", "Classe"}}}},
        // Cut as the log cuts it; "%%" and digits the event viewer would read as a parameter reference.
        {"a long address, an address like a parameter reference",
         [&](Started& r) { r.show(r.browsers.chrome, longAddress); r.show(r.browsers.edge, "http://giochi.example/%%1%%%20%%x%%"); },
         {{info, 1002, {longAddress.substr(0, 255), "chrome.exe", "Classe"}},
          {info, 1002, {"http://giochi.example/%%\u200b1%%%\u200b20%%x%%", "msedge.exe", "Classe"}}}},
        {"a failed login, nothing typed in it, then the administrator's",
         [](Started& r) { EXPECT_FALSE(r.controller.login("Segreta")); EXPECT_TRUE(r.controller.login("segreta")); },
         {{EventLevel::Warning, 3001, {}}, {info, 3000, {}}}},
        {"lists that cannot be read",
         [](Started& r) { r.sql("DROP TABLE NomiFinestreVietate;"); r.controller.onProfileChosen("Classe"); },
         {{EventLevel::Error, 2001, {"", "no such table: NomiFinestreVietate"}}}},
        // A page shown again and again is one event a minute, per browser.
        {"the same page again, then in another browser, then a minute later",
         [&](Started& r) {
             for (auto* b : {&r.browsers.chrome, &r.browsers.chrome, &r.browsers.edge}) r.show(*b, page);
             r.clock.ms += core::kEventRepeatQuietMs; r.show(r.browsers.chrome, page);
         },
         {{info, 1002, {page, "chrome.exe", "Classe"}}, {info, 1002, {page, "msedge.exe", "Classe"}},
          {info, 1002, {page, "chrome.exe", "Classe"}}}},
    };
    for (auto [what, act, expected] : cases) {
        Started rig;
        act(rig);
        if (expected[0].id == 2001) expected[0].strings[0] = rig.store.connection.path();
        EXPECT_EQ(rig.eventLog.written, expected) << what;
    }
}
}  // namespace
}  // namespace ombrix::app
