#include "core/controller.h"
#include <gtest/gtest.h>
#include <algorithm>
#include <filesystem>
#include <functional>
#include "core/password.h"
#include "core/settings_reg.h"
#include "core/store.h"
#include "fakes/controller_rig.h"
#include "support/messages.h"

namespace ombrix::core {
namespace {
using platform::RegRoot;

std::string controllerTexts() {
    std::string lng;
    for (const char* id : {"0111", "0112", "0113", "0114", "0144", "0149", "0150", "0163", "0164"}) lng += std::string(id) + "=text " + id + "\r\n";
    return lng;
}

struct RecordedKeyboard final : OnScreenKeyboard {
    std::string calls;
    void show() override { calls += "show "; }
    void hide() override { calls += "hide "; }
    void reapply() override {}
};

struct ControllerTest : ::testing::Test, test::ControllerRig {
    ControllerTest() : ControllerRig(controllerTexts()) { storeValue(hashPassword("segreta", "salt", 10).value()); }

    // The password column as stored, written or read as another program would.
    void storeValue(const std::string& value) {
        Database db;
        ASSERT_TRUE(db.open(dir.file("DataBase/DataBase.db")) && UpdateField(db, "Opzioni", "PasswordAdmin", Value(value), kOptionsRow));
    }
    std::string storedValue() {
        Database db;
        return db.open(dir.file("DataBase/DataBase.db")) ? ReadField(db, "Opzioni", "PasswordAdmin", kOptionsRow).toText() : "";
    }
    // A fresh delivered store with the password, and a controller not yet started.
    void freshStart() {
        controller_.reset();
        store.connection.close();
        std::filesystem::remove(dir.path() / "DataBase" / "DataBase.db");
        ASSERT_TRUE(createDeliveredDatabase(dir.file("DataBase/DataBase.db")));
        storeValue(hashPassword("segreta", "salt", 10).value());
        journal.entries.clear(); dialogs.shown.clear(); lists.onLoadSites = nullptr; system.isElevated = false;
        registry.deleteValue(RegRoot::LocalMachine, settingsKey(kProgramTitle, kStoreSection), kPasswordChosenValue);
    }
    const std::string userStoreKey = programSettingsKey(kProgramTitle, kStoreSection);
    void userSetting() { ASSERT_TRUE(registry.writeString(RegRoot::CurrentUser, userStoreKey, kStoreKey, dir.file("altrove"))); }
    void markMachine() { registry.writeString(RegRoot::LocalMachine, settingsKey(kProgramTitle, kStoreSection), kPasswordChosenValue, "1"); }
    // The lists are in force: all three loaded since their timers last went off, and the task manager's timer on.
    [[nodiscard]] bool enforcing() const {
        const auto last = [&](const std::string& entry) {
            int at = -1;
            for (int i = 0; (i = journal.find(entry, i)) >= 0; ++i) at = i;
            return at;
        };
        const int loaded = last("load windows");
        return loaded > last("timerSitiVietatiConsentiti off") && loaded > last("tmrProcessiVietati off") &&
               timers.isEnabled(TimerId::KillTaskManager);
    }
    Controller& controller() {
        if (!controller_) controller_ = std::make_unique<Controller>(machine(), store), controller_->setProfileLists(&lists);
        return *controller_;
    }
    std::optional<std::string> runEntry(RegRoot root) { return registry.readValue(root, kRunKey, "Ombrix"); }

    test::QuickPasswords quick;
    std::unique_ptr<Controller> controller_;
};

TEST_F(ControllerTest, StartUpPutsTheListsInForce) {
    ASSERT_EQ(controller().startUp(), Controller::StartResult::Running);
    EXPECT_TRUE(enforcing());
    EXPECT_TRUE(dialogs.shown.empty()) << "a current store with a password tells nothing";
    EXPECT_TRUE(controller().profileInUse() == 1 && view.selected == 0);
    EXPECT_TRUE(journal.count("view options") == 0 && journal.find("view topmost") != -1);
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, std::string(kZoneMapDomains) + "ombrix.example\\www", "https"), "2");
}

// What the start tells waits until the lists are in force: a box nobody answers must not hold
// the start with the timers off. A lost store, or no password in a standard session, blocks every page.
TEST_F(ControllerTest, WhatTheStartTellsComesOnceTheListsAreInForce) {
    std::vector<std::string> told;
    const auto unreadable = [&] { lists.onLoadSites = [&] { controller().storeUnreadable("no such table"); }; };
    const struct {
        const char* name;
        std::function<void()> make;
        std::vector<std::string> told;
        bool blocked;  // what a lost store enforces, until the password is in the store
        bool again;    // the login tells it again
    } cases[] = {
        // A user's setting cannot move a lost store: a pupil could name their own.
        {"lost: options table gone", [&] { markMachine(), sql("DROP TABLE Opzioni;"), userSetting(); }, {"0355"}, true, true},
        {"no password, standard session", [&] { storeValue(""); }, {"0396"}, true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        freshStart();
        c.make();
        told.clear();
        dialogs.whileShown = [&](const platform::MessageBoxRequest& box) {
            told.push_back(std::string(box.messageId.number()) + (enforcing() ? "" : " before the lists"));
        };
        view.whileOptionsOpen = [&] { told.push_back(enforcing() ? "options" : "options before the lists"); };
        controller().startUp();
        EXPECT_TRUE(told.empty()) << "told halfway through the start-up: " << told.front();
        controller().showWaitingNotices();
        EXPECT_EQ(told, c.told);
        EXPECT_TRUE(store.folder == dir.file("DataBase") && dialogs.prompts.empty()) << "no folder picker";
        EXPECT_EQ(controller().storeLost(), c.blocked);
        EXPECT_TRUE(!c.blocked || controller().switches().blockDownloads);
        // Nor is a password chosen at the login box: it tells again why not.
        EXPECT_FALSE(controller().login(""));
        controller().showWaitingNotices();
        EXPECT_EQ(told.size(), c.told.size() * (c.again ? 2 : 1)) << told.back();
        registry.deleteValue(RegRoot::CurrentUser, userStoreKey, kStoreKey);
    }
    // The administrator's password, once in the store, opens and lifts the block.
    storeValue(hashPassword("Scelta", "salt", 10).value());
    EXPECT_TRUE(controller().login("Scelta") && !controller().storeLost());
    EXPECT_TRUE(controller().savePassword("Prima Scelta", "Prima Scelta"));
    EXPECT_EQ(registry.readValue(RegRoot::LocalMachine, settingsKey(kProgramTitle, kStoreSection), kPasswordChosenValue), "1")
        << "choosing a password marks the machine";
    // A switch of profile that finds the store unreadable tells it once, after the switch.
    freshStart();
    controller().startUp();
    unreadable(); told.clear();
    controller().onProfileChosen("Nessuna restrizione"); controller().onProfileChosen("Nessuna restrizione");
    controller().showWaitingNotices();
    EXPECT_EQ(told, std::vector<std::string>{"0313"});
}

// A time slot's change puts its profile in use but opens no home page (the pupils' browsers would be ended
// mid-lesson): only the combo's choice does.
TEST_F(ControllerTest, ProfilesChangeByTheSlotsTheComboAndTheEditor) {
    struct Slots final : TimeSlotSchedule {
        bool load() override { return true; }
        long long profileForNow() override { return 7; }
    } slots;
    sql("UPDATE Opzioni SET FasceOrarie = -1; INSERT INTO Profili (IDProfilo, Profilo, PaginaPredefinita, SitiProibiti) "
        "VALUES (7, 'Laboratorio', 'http://lab.example', 0);");
    controller().setTimeSlotSchedule(&slots);
    controller().startUp();
    int loads = 0;  // no tick may read half-loaded lists
    lists.onLoadSites = [&] { loads += !timers.isEnabled(TimerId::SiteCheck) && !timers.isEnabled(TimerId::ForbiddenProcesses); };
    controller().tickTimeSlots();
    EXPECT_TRUE(controller().profileInUse() == 7 && loads == 1 && !timers.isEnabled(TimerId::LaunchHomePage));
    controller().onProfileChosen("Nessuna restrizione");
    controller().onProfileChosen("LABORATORIO");  // names compare without case
    EXPECT_TRUE(timers.isEnabled(TimerId::LaunchHomePage) && enforcing());
    EXPECT_FALSE(controller().homePagePending()) << "handed to the home-page timer";
    EXPECT_EQ(ReadField(store.connection, "Opzioni", "IDProfiloInUso", kOptionsRow).toInteger(), 7);
}

TEST_F(ControllerTest, LoginComparesExactlyAndRenewsAPlainOrWeakerValue) {
    controller().startUp();
    const std::string current = hashPassword("vecchia", "salt", passwordWork()).value();
    for (const std::string& before :
         {std::string("vecchia"), hashPassword("vecchia", "salt", passwordWork() - 1).value(), current}) {
        storeValue(before);
        EXPECT_TRUE(!controller().login("Vecchia") && storedValue() == before) << "a refused login writes nothing";
        EXPECT_TRUE(controller().login("vecchia")) << before;
        const std::string after = storedValue();
        EXPECT_EQ(after == before, before == current) << "only a hash of today's work is kept";
        EXPECT_TRUE(!passwordNeedsRehash(after) && passwordMatches(after, "vecchia")) << after;
        controller().lock();
    }
}

TEST_F(ControllerTest, SavingAPasswordChecksItFirstAndSaysWhyTheStoreRefused) {
    controller().startUp();
    EXPECT_FALSE(controller().savePassword("   ", "   "));
    EXPECT_TRUE(dialogs.shown.back().messageId == msg::PasswordBlank && dialogs.shown.back().title == "text 0144");
    EXPECT_TRUE(controller().login("segreta")) << "a refused change leaves the old password";
    EXPECT_TRUE(controller().savePassword("Nuova Password", "Nuova Password"));
    EXPECT_TRUE(!controller().login("segreta") && controller().login("Nuova Password"));
    sql("CREATE TRIGGER rifiuta BEFORE UPDATE ON Opzioni BEGIN SELECT RAISE(ABORT, 'disco protetto'); END;");
    EXPECT_TRUE(!controller().savePassword("Terza", "Terza") && dialogs.shown.back().messageId == msg::StoreWriteFailed);
    EXPECT_NE(dialogs.shown.back().text.find("disco protetto"), std::string::npos) << dialogs.shown.back().text;
    EXPECT_TRUE(controller().login("Nuova Password"));
    // The box says what is stored: a click the store refused is put back, and shows no keyboard.
    RecordedKeyboard keyboard;
    controller().setOnScreenKeyboard(&keyboard); dialogs.shown.clear();
    view.keyboardChecked = true;  // as the click left it
    controller().onVirtualKeyboardClicked(true);
    EXPECT_FALSE(view.keyboardChecked || dialogs.shown.empty() || keyboard.calls.find("show") != std::string::npos);
}

TEST_F(ControllerTest, TheKeyboardAndAutostartBoxesWorkOnlyForTheAdministrator) {
    RecordedKeyboard keyboard;
    system.major = 10;  // the user's Run entry too; the store remembered beside the program
    registry.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", dir.file("DataBase"));
    controller().setOnScreenKeyboard(&keyboard);
    controller().startUp();
    const std::string path = controller().programPath();
    EXPECT_EQ(path, dir.file("ombrix.exe"));
    test::writeFile(path, "MZ");
    controller().onVirtualKeyboardClicked(true);
    controller().onAutostartClicked(true);
    EXPECT_FALSE(!keyboard.calls.empty() || runEntry(RegRoot::LocalMachine)) << "before the login the boxes do nothing";

    ASSERT_TRUE(controller().login("segreta"));
    controller().onVirtualKeyboardClicked(true); controller().onVirtualKeyboardClicked(false);
    EXPECT_EQ(keyboard.calls, "show hide ");
    std::filesystem::remove(path);
    controller().onAutostartClicked(true);
    EXPECT_FALSE(runEntry(RegRoot::LocalMachine) || view.autostartChecked) << "no executable at that path";
    test::writeFile(path, "MZ");
    controller().onAutostartClicked(true);
    EXPECT_TRUE(runEntry(RegRoot::LocalMachine) == path && runEntry(RegRoot::CurrentUser) == path && view.autostartChecked);
    controller().onAutostartClicked(false);
    EXPECT_FALSE(runEntry(RegRoot::LocalMachine) || runEntry(RegRoot::CurrentUser) || view.autostartChecked);

    // Older Windows has the machine's entry only: one left by an earlier
    // install is rewritten at the start, none is made where none was.
    freshStart();
    system.major = 6;
    system.fileName = "scuola.exe";
    registry.writeString(RegRoot::LocalMachine, kRunKey, "Ombrix", "C:\\Vecchio\\ombrix.exe");
    controller().startUp();
    EXPECT_EQ(runEntry(RegRoot::LocalMachine), dir.file("scuola.exe"));
    test::writeFile(dir.file("scuola.exe"), "MZ");
    ASSERT_TRUE(controller().login("segreta"));
    controller().onAutostartClicked(true);
    EXPECT_FALSE(runEntry(RegRoot::CurrentUser));
}

// The administrator's exit asks the guard to stand down first; refused or
// declined, the program stays.
TEST_F(ControllerTest, TheExitStandsTheGuardDownFirstOrStays) {
    struct Channel final : GuardChannel {
        std::optional<std::string> refusal;
        bool standDown(std::string& why) override { return refusal ? (why = *refusal, false) : true; }
    } channel;
    struct Consent final : ElevatedControl {
        std::string lines;
        bool given = false;
        bool runControl(const std::vector<std::string>& arguments) override { return lines += arguments.at(0) + " " + arguments.at(1), given; }
    } consent;
    controller().setGuardChannel(&channel); controller().setElevatedControl(&consent); system.isElevated = true;
    controller().startUp();
    controller().exitByAdministrator();
    EXPECT_FALSE(controller().shuttingDown()) << "only after login";
    ASSERT_TRUE(controller().login("segreta"));
    registry.writeString(RegRoot::LocalMachine, kGuardServiceKey, "ImagePath", "ombrixguard.exe");
    channel.refusal = "refused: session 3 is not guarded";
    controller().exitByAdministrator();
    controller().showWaitingNotices();
    EXPECT_FALSE(controller().shuttingDown());
    EXPECT_EQ(dialogs.shown.back().messageId, msg::GuardNotStoodDown);
    EXPECT_NE(dialogs.shown.back().text.find("session 3"), std::string::npos);
    system.isElevated = false;
    controller().exitByAdministrator();
    EXPECT_EQ(consent.lines, "service stand-down");
    EXPECT_FALSE(controller().shuttingDown()) << "consent declined";
    consent.given = true;
    controller().exitByAdministrator();
    EXPECT_TRUE(controller().shuttingDown() && timers.isEnabled(TimerId::Exit));
}

// The task manager button toggles the lock; hiding or minimising the form
// locks it again, and only the shutdown or Windows ends the program.
TEST_F(ControllerTest, TheTaskManagerLockAndWhatEndsTheProgram) {
    controller().startUp();
    controller().onTaskManagerClicked();
    EXPECT_TRUE(timers.isEnabled(TimerId::KillTaskManager)) << "refused before login";
    ASSERT_TRUE(controller().login("segreta"));
    controller().onTaskManagerClicked();
    EXPECT_TRUE(!timers.isEnabled(TimerId::KillTaskManager) && view.taskManagerCaption == "text 0150");
    controller().onTaskManagerClicked();
    EXPECT_EQ(view.taskManagerCaption, "text 0149");
    controller().onTaskManagerClicked();
    EXPECT_TRUE(controller().refuseClose(Controller::CloseRequest::ControlBox));
    EXPECT_TRUE(timers.isEnabled(TimerId::KillTaskManager) && !controller().administrator()) << "hidden: locked";
    EXPECT_TRUE(controller().refuseClose(Controller::CloseRequest::Other) &&
                controller().refuseClose(Controller::CloseRequest::Program));
    EXPECT_FALSE(controller().refuseClose(Controller::CloseRequest::WindowsShutdown));
    ASSERT_TRUE(controller().login("segreta"));
    controller().onTaskManagerClicked();
    controller().onMinimised();
    EXPECT_TRUE(timers.isEnabled(TimerId::KillTaskManager)) << "minimised: locked";
}

TEST_F(ControllerTest, ShutdownGivesEverythingBackThenEnds) {
    processes.start("iexplore.exe", 2);  // survives two kills
    processes.start("FIREFOX.EXE", -1);  // never dies, and must not hang the shutdown
    processes.start("chrome.exe");
    controller().startUp();
    controller().beginShutdown();
    EXPECT_TRUE(controller().shuttingDown() && controller().profileInUse() == 0) << "no restriction while closing";
    EXPECT_TRUE(controller().refuseClose(Controller::CloseRequest::Program)) << "not closed yet";
    controller().tickExit();
    EXPECT_FALSE(timers.isEnabled(TimerId::Exit));
    ASSERT_EQ(processes.running.size(), 2u) << "Internet Explorer killed until gone";
    EXPECT_EQ(processes.running[1].name, "chrome.exe") << "the closing routine leaves Chrome alone";
    EXPECT_TRUE(journal.inOrder({"view unload forms", "view end"}));
    EXPECT_FALSE(store.connection.isOpen() || controller().refuseClose(Controller::CloseRequest::Program));
    controller().tickExit();
    EXPECT_EQ(journal.count("view end"), 1);
}

TEST_F(ControllerTest, NoticesTakeTheirHeadingAndFollowTheSwitch) {
    controller().startUp();
    controller().showMessage("Sito vietato", 1);
    controller().showMessage("Sito vietato", 9);
    controller().showMessage("   ", 1);
    EXPECT_EQ(view.notices, (std::vector<std::pair<std::string, std::string>>{{"Sito vietato", "text 0111"},
                                                                               {"Sito vietato", "text 0114"}}))
        << "an unknown kind takes the general heading; blank text shows nothing";
    sql("UPDATE Profili SET NascondiMessaggiNotifica = -1;");
    controller().onProfileChosen("Nessuna restrizione");
    controller().showMessage("Sito vietato", 1);
    EXPECT_EQ(view.notices.size(), 2u) << "the profile hides notices";
}
}  // namespace
}  // namespace ombrix::core
