#include "core/controller.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <filesystem>
#include <functional>
#include <tuple>

#include "core/password.h"
#include "core/settings_reg.h"
#include "core/store.h"
#include "fakes/controller_rig.h"
#include "platform/failures.h"
#include "support/messages.h"

namespace ombrix::core {
namespace {

using platform::RegRoot;
using test::Journal;

std::string controllerTexts() {
    std::string lng;
    for (const char* id : {"0111", "0112", "0113", "0114", "0144", "0149", "0150", "0163", "0164"}) {
        lng += std::string(id) + "=text " + id + "\r\n";
    }
    return lng;
}

// The on-screen keyboard, as the controller shows and hides it.
struct RecordedKeyboard final : OnScreenKeyboard {
    std::vector<std::string> calls;
    void show() override { calls.push_back("show"); }
    void hide() override { calls.push_back("hide"); }
    void reapply() override {}
    [[nodiscard]] bool shown() const { return !calls.empty() && calls.back() == "show"; }
};

class ControllerTest : public ::testing::Test, protected test::ControllerRig {
protected:
    ControllerTest() : ControllerRig(controllerTexts()) { storeValue(hashPassword("segreta", "salt", 10).value()); }

    // The password column as stored, written or read as another program would.
    void storeValue(const std::string& value) {
        Database db;
        ASSERT_TRUE(db.open(dir.file("DataBase/DataBase.db")));
        ASSERT_TRUE(UpdateField(db, "Opzioni", "PasswordAdmin", Value(value), kOptionsRow));
    }
    std::string storedValue() {
        Database db;
        EXPECT_TRUE(db.open(dir.file("DataBase/DataBase.db")));
        return ReadField(db, "Opzioni", "PasswordAdmin", kOptionsRow).toText();
    }

    // A fresh delivered store with the password, and a controller not yet started.
    void freshStart() {
        controller_.reset();
        store.connection.close();
        std::filesystem::remove(dir.path() / "DataBase" / "DataBase.db");
        ASSERT_TRUE(createDeliveredDatabase(dir.file("DataBase/DataBase.db")));
        storeValue(hashPassword("segreta", "salt", 10).value());
        journal.entries.clear();
        dialogs.shown.clear();
        lists.onLoadSites = nullptr;
        system.isElevated = false;
        registry.deleteValue(RegRoot::LocalMachine, settingsKey(kProgramTitle, kStoreSection), kPasswordChosenValue);
    }
    void markMachine() {
        ASSERT_TRUE(registry.writeString(RegRoot::LocalMachine, settingsKey(kProgramTitle, kStoreSection),
                                         kPasswordChosenValue, "1"));
    }
    // Whether the lists are in force: all three loaded since their timers
    // last went off, and the task manager's timer on.
    [[nodiscard]] bool enforcing() const {
        const auto last = [&](const std::string& entry) {
            int at = -1;
            for (std::size_t i = 0; i < journal.entries.size(); ++i) {
                if (journal.entries[i] == entry) at = static_cast<int>(i);
            }
            return at;
        };
        const int loaded = last("load windows");
        return loaded > last("timerSitiVietatiConsentiti off") && loaded > last("tmrProcessiVietati off") &&
               timers.isEnabled(TimerId::KillTaskManager);
    }
    // Records in `told` each box and the options form as they come up, marked
    // when the lists were not in force then.
    void recordWhatIsTold() {
        dialogs.whileShown = [this](const platform::MessageBoxRequest& box) {
            told.push_back(std::string(box.messageId.number()) + (enforcing() ? "" : " before the lists"));
        };
        view.whileOptionsOpen = [this] { told.push_back(enforcing() ? "options" : "options before the lists"); };
    }

    Controller& controller() {
        if (!controller_) {
            controller_ = std::make_unique<Controller>(machine(), store);
            controller_->setProfileLists(&lists);
        }
        return *controller_;
    }

    test::QuickPasswords quick;
    std::unique_ptr<Controller> controller_;
    std::vector<std::string> told;
};

TEST_F(ControllerTest, StartUpRunsItsStepsInOrder) {
    ASSERT_EQ(controller().startUp(), Controller::StartResult::Running);
    EXPECT_TRUE(journal.inOrder({"view language", "view splash", "view tray icon", "view profiles", "lists profile 1",
                                 "load sites 1", "load processes", "load windows", "view hide owner", "view topmost",
                                 "tmrKillTaskManager on", "timerLogSitiVisitati off", "view splash closes"}));
    EXPECT_TRUE(dialogs.shown.empty()) << "a current store starts without message 0151";
    EXPECT_TRUE(store.connection.isOpen());
    EXPECT_EQ(controller().profileInUse(), 1);
    ASSERT_EQ(view.profiles.size(), 1u);
    EXPECT_EQ(view.selected, 0);
    EXPECT_EQ(journal.count("view options"), 0) << "a password is set";
    // The maker's site is trusted, zone 2, for both schemes.
    const std::string zone = std::string(kZoneMapDomains) + "ombrix.example\\www";
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, zone, "http"), "2");
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, zone, "https"), "2");
}

TEST_F(ControllerTest, ASecondInstanceEndsBeforeTouchingAnything) {
    instance.other = true;
    EXPECT_EQ(controller().startUp(), Controller::StartResult::AnotherInstance);
    EXPECT_FALSE(store.connection.isOpen());
    EXPECT_EQ(journal.find("view profiles"), -1);
    EXPECT_EQ(journal.find("view tray icon"), -1) << "no second icon, however briefly";
    EXPECT_FALSE(registry.keyExists(RegRoot::CurrentUser, kZoneMapDomains));
    EXPECT_TRUE(dialogs.shown.empty());
}

TEST_F(ControllerTest, AnUpgradedStoreIsAnnouncedOnce) {
    std::filesystem::remove(dir.path() / "DataBase" / "DataBase.db");
    {
        Database db;
        ASSERT_TRUE(db.open(dir.file("DataBase/DataBase.db"), Database::Mode::CreateIfMissing));
        ASSERT_TRUE(db.exec(test::oldestSchemaSql()));
    }
    controller().startUp();
    controller().showWaitingNotices();
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].messageId, msg::StoreUpgraded);
    EXPECT_EQ(dialogs.shown[0].icon, platform::MessageIcon::Information);

    store.connection.close();
    Journal again;
    test::FakeView view2{again};
    test::RecordingDialogs dialogs2;
    StoreEnvironment env2{registry, platform::realFileSystem(), system, dialogs2, language};
    Store store2;
    Controller second(Controller::Machine{env2, timers, view2, processes, pump, instance}, store2);
    second.startUp();
    second.showWaitingNotices();
    EXPECT_TRUE(dialogs2.shown.empty());
}

// A file that is not our store is told to the administrator with the store's
// message (every refusal of the upgrade is tested with the upgrade); the
// start-up goes on.
TEST_F(ControllerTest, AFileThatIsNotOurStoreIsToldAtStart) {
    sql("DROP TABLE Profili; CREATE TABLE Ricette (Nome TEXT);");
    controller().startUp();
    controller().showWaitingNotices();
    ASSERT_FALSE(dialogs.shown.empty());
    EXPECT_EQ(dialogs.shown[0].messageId, msg::NotOurStore);
    EXPECT_EQ(dialogs.shown[0].icon, platform::MessageIcon::Critical);
    EXPECT_NE(dialogs.shown[0].text.find("Profili"), std::string::npos) << dialogs.shown[0].text;
}

// A store without a password is a first start for an administrator's
// session only. Where the machine's key says a password was chosen, the store
// was replaced; a standard session is told an administrator must choose one.
// Neither may choose one at the login box, and the second blocks as a lost
// store does until an administrator has.
TEST_F(ControllerTest, OnlyAnAdministratorsSessionChoosesTheFirstPassword) {
    const struct {
        const char* name;
        bool marked, elevated;
        const char* told;  // empty: the options form, twice
    } cases[] = {
        {"administrator", false, true, ""},
        {"replaced store", true, true, "0316"},
        {"replaced store, standard session", true, false, "0316"},
        {"standard session", false, false, "0396"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        freshStart();
        storeValue("");
        system.isElevated = c.elevated;
        if (c.marked) markMachine();
        controller().startUp();
        controller().showWaitingNotices();
        EXPECT_FALSE(controller().login(""));
        controller().showWaitingNotices();
        EXPECT_EQ(journal.count("view options"), *c.told ? 0 : 2);
        ASSERT_EQ(dialogs.shown.size(), *c.told ? 2u : 0u);
        if (*c.told) {
            EXPECT_EQ(dialogs.shown[0].messageId.number(), c.told);
        }
    }
    // The standard session enforces what a lost store does until the
    // administrator's password is in the store; that password then opens.
    EXPECT_TRUE(controller().storeLost());
    EXPECT_TRUE(journal.inOrder({"load sites -1", "tmrKillTaskManager on"}));
    EXPECT_TRUE(controller().switches().blockDownloads);
    storeValue(hashPassword("Scelta", "salt", 10).value());
    EXPECT_TRUE(controller().login("Scelta"));
    EXPECT_FALSE(controller().storeLost());

    // Choosing a password marks the machine, where the program may write its key.
    const std::string key = settingsKey(kProgramTitle, kStoreSection);
    registry.deleteValue(RegRoot::LocalMachine, key, kPasswordChosenValue);
    EXPECT_TRUE(controller().savePassword("Prima Scelta", "Prima Scelta"));
    EXPECT_EQ(registry.readValue(RegRoot::LocalMachine, key, kPasswordChosenValue), "1");
}

// On a marked machine a store that is missing or cannot be read is lost, not
// new: no folder is asked for (a pupil could name their own store), no
// password is offered, every list fails to load so every page is blocked, and
// the login says why. A user's own setting cannot move the store there.
TEST_F(ControllerTest, ALostStoreOnAMarkedMachineFailsClosed) {
    const std::string key = settingsKey(kProgramTitle, kStoreSection);
    ASSERT_TRUE(registry.writeString(RegRoot::LocalMachine, key, kPasswordChosenValue, "1"));
    ASSERT_TRUE(registry.writeString(RegRoot::CurrentUser, programSettingsKey(kProgramTitle, kStoreSection),
                                     kStoreKey, dir.file("altrove")));
    const struct {
        const char* name;
        std::function<void()> lose;
    } cases[] = {
        {"options table gone", [&] { sql("DROP TABLE Opzioni;"); }},
        {"file deleted", [&] { std::filesystem::remove(dir.file("DataBase/DataBase.db")); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        c.lose();
        controller().startUp();
        controller().showWaitingNotices();
        EXPECT_TRUE(controller().storeLost());
        EXPECT_EQ(store.folder, dir.file("DataBase")) << "the user's setting is not read";
        ASSERT_EQ(dialogs.shown.size(), 1u);
        EXPECT_EQ(dialogs.shown[0].messageId, msg::StoreLost);
        EXPECT_TRUE(dialogs.prompts.empty()) << "no folder picker";
        EXPECT_EQ(journal.count("view options"), 0);
        EXPECT_TRUE(journal.inOrder({"lists profile -1", "load sites -1", "tmrKillTaskManager on"}));
        EXPECT_TRUE(controller().switches().blockDownloads);
        EXPECT_FALSE(controller().login("segreta"));
        controller().showWaitingNotices();
        EXPECT_EQ(dialogs.shown.back().messageId, msg::StoreLost);
        controller_.reset();
        store.connection.close();
        journal.entries.clear();
        dialogs.shown.clear();
    }
}

// Whatever the start-up and the loaders have to tell waits until the lists
// are in force, and comes up in the order told: a box nobody answers must
// not hold the start-up with the timers off.
TEST_F(ControllerTest, NothingIsToldBeforeTheListsAreInForce) {
    const auto listsUnreadable = [&] { lists.onLoadSites = [&] { controller().storeUnreadable("no such table"); }; };
    const struct {
        const char* name;
        std::function<void()> make;
        std::vector<std::string> told;
    } cases[] = {
        {"upgraded",
         [&] {
             std::filesystem::remove(dir.path() / "DataBase" / "DataBase.db");
             Database db;
             ASSERT_TRUE(db.open(dir.file("DataBase/DataBase.db"), Database::Mode::CreateIfMissing));
             ASSERT_TRUE(db.exec(test::oldestSchemaSql()));
         },
         {"0151"}},
        {"not our store, lists unreadable",
         [&] {
             sql("DROP TABLE Profili; CREATE TABLE Ricette (Nome TEXT);");
             listsUnreadable();
         },
         {"0315", "0313"}},
        {"replaced",
         [&] {
             markMachine();
             storeValue("");
         },
         {"0316"}},
        {"first start",
         [&] {
             system.isElevated = true;
             storeValue("");
         },
         {"options"}},
        {"no password, standard session", [&] { storeValue(""); }, {"0396"}},
        {"lost",
         [&] {
             markMachine();
             std::filesystem::remove(dir.path() / "DataBase" / "DataBase.db");
         },
         {"0355"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        freshStart();
        c.make();
        told.clear();
        recordWhatIsTold();
        controller().startUp();
        EXPECT_TRUE(told.empty()) << "told halfway through the start-up: " << told.front();
        EXPECT_NE(journal.find("view notices waiting"), -1);
        controller().showWaitingNotices();
        EXPECT_EQ(told, c.told);
    }

    // A switch of profile that finds the store unreadable tells it once, after the switch.
    freshStart();
    controller().startUp();
    listsUnreadable();
    told.clear();
    controller().onProfileChosen("Nessuna restrizione");
    controller().onProfileChosen("Nessuna restrizione");
    EXPECT_TRUE(told.empty());
    controller().showWaitingNotices();
    EXPECT_EQ(told, std::vector<std::string>{"0313"});
}

// A time slot's change puts its profile in use but opens no home page (the
// pupils' browsers would be ended mid-lesson): only the combo's choice does.
TEST_F(ControllerTest, OnlyTheComboOpensTheHomePage) {
    struct Slots final : TimeSlotSchedule {
        bool load() override { return true; }
        long long profileForNow() override { return 7; }
    } slots;
    sql("UPDATE Opzioni SET FasceOrarie = -1;"
        "INSERT INTO Profili (IDProfilo, Profilo, PaginaPredefinita, SitiProibiti) "
        "VALUES (7, 'Laboratorio', 'http://lab.example', 0);");
    controller().setTimeSlotSchedule(&slots);
    controller().startUp();
    controller().tickTimeSlots();
    EXPECT_EQ(controller().profileInUse(), 7);
    EXPECT_FALSE(timers.isEnabled(TimerId::LaunchHomePage));
    controller().onProfileChosen("Laboratorio");
    EXPECT_TRUE(timers.isEnabled(TimerId::LaunchHomePage));
}

// An elevated start keeps a copy of a sound store beside it (a pupil's
// account could write neither); one without rights, or whose lists could not
// be read, leaves the copy as it was.
TEST_F(ControllerTest, AnElevatedStartKeepsTheStoresCopy) {
    const std::filesystem::path copy = dir.path() / "DataBase" / "DataBase.copia.db";
    for (const auto& [elevated, unreadable, kept] : {std::tuple{false, false, false}, {true, true, false},
                                                     {true, false, true}}) {
        SCOPED_TRACE(testing::Message() << "elevated " << elevated << ", unreadable " << unreadable);
        freshStart();
        std::filesystem::remove(copy);
        system.isElevated = elevated;
        if (unreadable) lists.onLoadSites = [&] { controller().storeUnreadable("no such table"); };
        controller().startUp();
        ASSERT_EQ(std::filesystem::exists(copy), kept);
        if (!kept) continue;
        Database db;
        ASSERT_TRUE(db.open(pathToUtf8(copy), Database::Mode::ReadOnly));
        EXPECT_EQ(db.scalar("SELECT Profilo FROM Profili WHERE IDProfilo = 1;").toText(), "Nessuna restrizione");
        EXPECT_FALSE(db.exec("DELETE FROM Profili;")) << "opened read-only";
    }
}

TEST_F(ControllerTest, StartUpSwitchesFromTheOptionsRow) {
    sql("UPDATE Opzioni SET LogSiti = -1, TastieraVirtuale = -1;"
        "UPDATE Profili SET PaginaPredefinita = 'http://scuola.example' WHERE IDProfilo = 1;");
    controller().startUp();
    EXPECT_TRUE(timers.isEnabled(TimerId::SiteLog));
    EXPECT_TRUE(view.keyboardChecked);
    EXPECT_TRUE(controller().homePagePending());
    EXPECT_NE(journal.find("view minimise"), -1) << "a pending home page starts minimised";
    EXPECT_EQ(journal.find("view topmost"), -1);
}

TEST_F(ControllerTest, ChoosingAProfileFromTheCombo) {
    sql("INSERT INTO Profili (IDProfilo, Profilo, PaginaPredefinita, SitiProibiti) "
        "VALUES (7, 'Laboratorio', 'http://lab.example', 0);");
    controller().startUp();
    journal.entries.clear();
    controller().onProfileChosen("LABORATORIO");  // names compare without case
    EXPECT_TRUE(journal.inOrder({"timerSitiVietatiConsentiti off", "tmrProcessiVietati off", "forget last address",
                                 "lists profile 7", "load sites 7", "load processes", "load windows",
                                 "tmrLanciaPaginaIniziale on"}));
    EXPECT_EQ(controller().profileInUse(), 7);
    EXPECT_FALSE(controller().homePagePending()) << "handed to the home-page timer";
    Database db;
    ASSERT_TRUE(db.open(dir.file("DataBase/DataBase.db")));
    EXPECT_EQ(ReadField(db, "Opzioni", "IDProfiloInUso", kOptionsRow).toInteger(), 7);
}

TEST_F(ControllerTest, AroundTheProfileEditor) {
    controller().startUp();
    journal.entries.clear();
    controller().beforeProfileEditor();
    EXPECT_FALSE(timers.isEnabled(TimerId::ForbiddenProcesses));
    EXPECT_FALSE(timers.isEnabled(TimerId::SiteCheck));
    EXPECT_FALSE(timers.isEnabled(TimerId::CloseWindows));
    // The editor renamed the profile in use and added one.
    sql("UPDATE Profili SET Profilo = 'Rinominato'; INSERT INTO Profili (IDProfilo, Profilo) VALUES (4, 'Nuovo');");
    controller().afterProfileEditor();
    EXPECT_TRUE(
        journal.inOrder({"view profiles", "lists profile 1", "load sites 1", "load processes", "load windows"}));
    ASSERT_EQ(view.profiles.size(), 2u);
    EXPECT_EQ(view.profiles[0].name, "Rinominato");
    EXPECT_EQ(view.selected, 0);
}

// Another process committed to the store, which this session may only read:
// the next tick follows it, and a writer's lock is not waited for.
TEST_F(ControllerTest, AnotherConnectionsCommitIsFollowedAtTheNextTick) {
    controller().startUp();
    journal.entries.clear();
    controller().tickStoreChanges();
    EXPECT_EQ(journal.find("load sites 1"), -1) << "nothing was committed";
    sql("INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'giochi.exe');");
    controller().tickStoreChanges();
    EXPECT_TRUE(journal.inOrder({"lists profile 1", "load sites 1", "load processes", "load windows"}));
    Database writer;
    ASSERT_TRUE(writer.open(dir.file("DataBase/DataBase.db")));
    ASSERT_TRUE(writer.exec("BEGIN EXCLUSIVE; INSERT INTO Profili (IDProfilo, Profilo) VALUES (4, 'Aula');"
                            "UPDATE Opzioni SET IDProfiloInUso = 4;"));
    controller().tickStoreChanges();
    EXPECT_EQ(controller().profileInUse(), 1) << "not yet committed";
    ASSERT_TRUE(writer.exec("COMMIT;"));
    controller().tickStoreChanges();
    EXPECT_EQ(controller().profileInUse(), 4);
    EXPECT_EQ(view.profiles.size(), 2u);
    controller().beforeProfileEditor();
    sql("UPDATE Opzioni SET IDProfiloInUso = 1;");
    controller().tickStoreChanges();
    EXPECT_EQ(controller().profileInUse(), 4) << "the editor's pause holds: its close reads the store";
}

TEST_F(ControllerTest, LoginComparesExactly) {
    controller().startUp();
    for (const char* wrong : {"Segreta", "segreta ", "", "SEGRETA"}) {
        EXPECT_FALSE(controller().login(wrong)) << wrong;
        EXPECT_FALSE(view.admin);
    }
    EXPECT_TRUE(controller().login("segreta"));
    EXPECT_TRUE(view.admin);
    EXPECT_NE(journal.find("view clear password"), -1);
    controller().lock();
    EXPECT_FALSE(view.admin);
}

TEST_F(ControllerTest, APlainOrWeakerValueIsRehashedAtTheNextLogin) {
    controller().startUp();
    const std::string current = hashPassword("vecchia", "salt", passwordWork()).value();
    for (const std::string& before :
         {std::string("vecchia"), hashPassword("vecchia", "salt", passwordWork() - 1).value(), current}) {
        storeValue(before);
        EXPECT_FALSE(controller().login("Vecchia"));
        EXPECT_EQ(storedValue(), before) << "a refused login writes nothing";
        EXPECT_TRUE(controller().login("vecchia")) << before;
        const std::string after = storedValue();
        if (before == current) {
            EXPECT_EQ(after, before) << "a hash of today's work is kept";
        } else {
            EXPECT_NE(after, before);
            EXPECT_FALSE(passwordNeedsRehash(after)) << after;
            EXPECT_TRUE(passwordMatches(after, "vecchia"));
        }
        controller().lock();
    }
}

// The box says what is stored: a click the store refused is put back, told, and shows no keyboard.
TEST_F(ControllerTest, AnOptionTheStoreRefusesIsPutBack) {
    RecordedKeyboard keyboard;
    controller().setOnScreenKeyboard(&keyboard);
    system.isElevated = true;
    controller().startUp();
    ASSERT_TRUE(controller().login("segreta"));
    sql("CREATE TRIGGER refuse BEFORE UPDATE ON Opzioni BEGIN SELECT RAISE(ABORT, 'store refused'); END;");
    view.keyboardChecked = true;  // as the click left it
    controller().onVirtualKeyboardClicked(true);
    EXPECT_FALSE(view.keyboardChecked);
    EXPECT_EQ(std::count(keyboard.calls.begin(), keyboard.calls.end(), "show"), 0);
    ASSERT_FALSE(dialogs.shown.empty());
    EXPECT_EQ(dialogs.shown.back().messageId, msg::StoreWriteFailed);
    EXPECT_NE(dialogs.shown.back().text.find("store refused"), std::string::npos) << dialogs.shown.back().text;
}

// Without administrator rights both boxes are saved by an elevated
// ombrixctl; a declined prompt puts the box back, and the keyboard with it.
TEST_F(ControllerTest, WithoutRightsTheBoxesAreSavedThroughTheConsentPromptOrPutBack) {
    struct Consent final : ElevatedControl {
        std::vector<std::string> lines;
        std::function<void(const std::vector<std::string>&)> given;  // unset: declined
        bool runControl(const std::vector<std::string>& arguments) override {
            std::string line;
            for (const auto& a : arguments) line += (line.empty() ? "" : " ") + a;
            lines.push_back(line);
            if (given) given(arguments);
            return static_cast<bool>(given);
        }
    } consent;
    RecordedKeyboard keyboard;
    system.major = 10;  // the user's Run entry too
    registry.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", dir.file("DataBase"));
    test::writeFile(dir.file("ombrix.exe"), "MZ");
    controller().setOnScreenKeyboard(&keyboard);
    controller().setElevatedControl(&consent);
    controller().startUp();
    ASSERT_TRUE(controller().login("segreta"));
    const std::string path = controller().programPath();
    const auto entry = [&](RegRoot root) { return registry.readValue(root, kRunKey, "Ombrix"); };

    view.keyboardChecked = view.autostartChecked = true;
    controller().onVirtualKeyboardClicked(true);
    controller().onAutostartClicked(true);
    EXPECT_EQ(consent.lines, (std::vector<std::string>{"option keyboard on", "autostart on"}));
    EXPECT_FALSE(view.keyboardChecked);
    EXPECT_FALSE(keyboard.shown());
    EXPECT_FALSE(view.autostartChecked);
    EXPECT_FALSE(entry(RegRoot::CurrentUser)) << "the user's entry follows the machine's";

    // Consent given: what ombrixctl wrote is what the boxes show.
    consent.given = [&](const std::vector<std::string>& a) {
        if (a[0] == "option") sql("UPDATE Opzioni SET TastieraVirtuale = " + std::string(a[2] == "on" ? "-1" : "0"));
        if (a[0] == "autostart" && a[1] == "on") registry.writeString(RegRoot::LocalMachine, kRunKey, "Ombrix", path);
        if (a[0] == "autostart" && a[1] == "off") registry.deleteValue(RegRoot::LocalMachine, kRunKey, "Ombrix");
    };
    controller().onVirtualKeyboardClicked(true);
    controller().onAutostartClicked(true);
    EXPECT_TRUE(view.keyboardChecked);
    EXPECT_TRUE(keyboard.shown());
    EXPECT_TRUE(view.autostartChecked);
    EXPECT_EQ(entry(RegRoot::CurrentUser), path);

    consent.given = nullptr;
    view.keyboardChecked = view.autostartChecked = false;
    controller().onVirtualKeyboardClicked(false);
    controller().onAutostartClicked(false);
    EXPECT_TRUE(view.keyboardChecked);
    EXPECT_TRUE(keyboard.shown());
    EXPECT_TRUE(view.autostartChecked);
    EXPECT_EQ(entry(RegRoot::LocalMachine), path);
    EXPECT_EQ(entry(RegRoot::CurrentUser), path);
    EXPECT_EQ(consent.lines.size(), 6u);
}

TEST_F(ControllerTest, AnElevatedStartSetsTheStoreFoldersAccessAndOnlyTracesAFailure) {
    using platform::FolderAccessKind;
    const std::string folder = dir.file("DataBase");
    const std::string logFolder = joinPath(folder, kLogFolderName, platform::pathSeparator());
    struct Case {
        bool elevated;
        std::string refused;  // the folder whose list the system refuses
        std::vector<std::pair<std::string, FolderAccessKind>> set;
    };
    for (const Case& c : std::vector<Case>{
             {false, "", {}},
             {true, "", {{folder, FolderAccessKind::ReadOnlyForUsers}, {logFolder, FolderAccessKind::WritableForUsers}}},
             {true, folder, {}},
         }) {
        SCOPED_TRACE(testing::Message() << "elevated " << c.elevated << ", refused " << c.refused);
        std::filesystem::remove_all(dir.path() / "DataBase" / "Registro");
        store.connection.close();
        controller_.reset();
        test::FakeFolderAccess access;
        if (!c.refused.empty()) access.refused[c.refused] = "Access is denied.";
        system.isElevated = c.elevated;
        controller().setFolderAccess(&access);
        ASSERT_EQ(controller().startUp(), Controller::StartResult::Running);
        EXPECT_EQ(access.set, c.set);
        EXPECT_EQ(std::filesystem::is_directory(dir.path() / "DataBase" / "Registro"), c.set.size() == 2);
        EXPECT_TRUE(dialogs.shown.empty()) << "not the pupil's business";
        if (!c.refused.empty()) {
            ASSERT_FALSE(platform::recentFailures().empty());
            EXPECT_EQ(platform::recentFailures().back().what,
                      "the access list of a folder was not set: " + folder + ": Access is denied.");
        }
    }
}

TEST_F(ControllerTest, TheKeyboardBoxShowsAndHidesTheKeyboardOnlyForTheAdministrator) {
    RecordedKeyboard keyboard;
    controller().setOnScreenKeyboard(&keyboard);
    controller().startUp();
    controller().onVirtualKeyboardClicked(true);
    EXPECT_TRUE(keyboard.calls.empty()) << "before the login the box does nothing";
    ASSERT_TRUE(controller().login("segreta"));
    controller().onVirtualKeyboardClicked(true);
    controller().onVirtualKeyboardClicked(false);
    EXPECT_EQ(keyboard.calls, (std::vector<std::string>{"show", "hide"}));
}

TEST_F(ControllerTest, SavingAPasswordChecksItFirst) {
    controller().startUp();
    EXPECT_FALSE(controller().savePassword("   ", "   "));
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].messageId, msg::PasswordBlank);
    EXPECT_EQ(dialogs.shown[0].title, "text 0144");
    EXPECT_EQ(dialogs.shown[0].icon, platform::MessageIcon::Exclamation);
    EXPECT_FALSE(controller().savePassword("abc", "abC"));
    EXPECT_EQ(dialogs.shown.back().messageId, msg::PasswordsDiffer);
    EXPECT_TRUE(controller().login("segreta")) << "refused changes leave the old password";
    EXPECT_TRUE(controller().savePassword("Nuova Password", "Nuova Password"));
    EXPECT_FALSE(controller().login("segreta"));
    EXPECT_TRUE(controller().login("Nuova Password"));

    // A store that refuses the write says so, with the store's own reason.
    sql("CREATE TRIGGER rifiuta BEFORE UPDATE ON Opzioni BEGIN SELECT RAISE(ABORT, 'disco protetto'); END;");
    EXPECT_FALSE(controller().savePassword("Terza", "Terza"));
    EXPECT_EQ(dialogs.shown.back().messageId, msg::StoreWriteFailed);
    EXPECT_NE(dialogs.shown.back().text.find("disco protetto"), std::string::npos) << dialogs.shown.back().text;
    EXPECT_EQ(dialogs.shown.back().icon, platform::MessageIcon::Critical);
    EXPECT_TRUE(controller().login("Nuova Password"));
}

TEST_F(ControllerTest, AutostartEntries) {
    system.major = 10;  // Run key of the current user too
    registry.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", dir.file("DataBase"));
    controller().startUp();
    const std::string path = controller().programPath();
    EXPECT_EQ(path, dir.file("ombrix.exe"));
    test::writeFile(path, "MZ");
    controller().onAutostartClicked(true);
    EXPECT_FALSE(registry.readValue(RegRoot::LocalMachine, kRunKey, "Ombrix")) << "refused before login";

    ASSERT_TRUE(controller().login("segreta"));
    EXPECT_FALSE(view.autostartChecked);
    std::filesystem::remove(dir.path() / "ombrix.exe");
    controller().onAutostartClicked(true);
    EXPECT_FALSE(registry.readValue(RegRoot::LocalMachine, kRunKey, "Ombrix")) << "no executable at that path";
    EXPECT_FALSE(view.autostartChecked);

    test::writeFile(path, "MZ");
    controller().onAutostartClicked(true);
    EXPECT_EQ(registry.readValue(RegRoot::LocalMachine, kRunKey, "Ombrix"), path);
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, kRunKey, "Ombrix"), path);
    EXPECT_TRUE(view.autostartChecked);
    EXPECT_FALSE(registry.keyExists(RegRoot::CurrentUser, programSettingsKey("", kRunKey))) << "nothing mirrored";

    controller().onAutostartClicked(false);
    EXPECT_EQ(registry.readValue(RegRoot::LocalMachine, kRunKey, "Ombrix"), std::nullopt);
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, kRunKey, "Ombrix"), std::nullopt);
    EXPECT_FALSE(view.autostartChecked);
}

// With the guard service installed the service starts the program: no Run
// entry is written or kept for the user, and the box says so.
TEST_F(ControllerTest, TheGuardServiceReplacesTheAutostartEntries) {
    system.major = 10;
    registry.writeString(RegRoot::LocalMachine, kGuardServiceKey, "ImagePath", "\"C:\\Ombrix\\ombrixguard.exe\"");
    registry.writeString(RegRoot::CurrentUser, kRunKey, "Ombrix", dir.file("ombrix.exe"));
    test::writeFile(dir.file("ombrix.exe"), "MZ");
    controller().startUp();
    EXPECT_FALSE(registry.readValue(RegRoot::CurrentUser, kRunKey, "Ombrix")) << "it would race the service";
    ASSERT_TRUE(controller().login("segreta"));
    EXPECT_TRUE(view.autostartChecked);
    controller().onAutostartClicked(false);
    controller().showWaitingNotices();
    EXPECT_TRUE(view.autostartChecked);
    ASSERT_FALSE(dialogs.shown.empty());
    EXPECT_EQ(dialogs.shown.back().messageId, msg::AutostartByGuardService);
    EXPECT_FALSE(registry.readValue(RegRoot::LocalMachine, kRunKey, "Ombrix"));
}

// The administrator's exit asks the guard to stand down first, through the
// consent prompt or, elevated, directly; while it refuses the program stays.
TEST_F(ControllerTest, TheExitStandsTheGuardDownFirstOrStays) {
    struct Channel final : GuardChannel {
        std::optional<std::string> refusal;
        int asked = 0;
        bool standDown(std::string& why) override {
            ++asked;
            if (refusal) why = *refusal;
            return !refusal;
        }
    } channel;
    struct Consent final : ElevatedControl {
        std::vector<std::vector<std::string>> lines;
        bool given = false;
        bool runControl(const std::vector<std::string>& arguments) override {
            lines.push_back(arguments);
            return given;
        }
    } consent;
    controller().setGuardChannel(&channel);
    controller().setElevatedControl(&consent);
    system.isElevated = true;
    controller().startUp();
    controller().exitByAdministrator();
    EXPECT_FALSE(controller().shuttingDown()) << "only after login";

    ASSERT_TRUE(controller().login("segreta"));
    registry.writeString(RegRoot::LocalMachine, kGuardServiceKey, "ImagePath", "ombrixguard.exe");
    channel.refusal = "refused: session 3 is not guarded";
    controller().exitByAdministrator();
    controller().showWaitingNotices();
    EXPECT_FALSE(controller().shuttingDown());
    ASSERT_FALSE(dialogs.shown.empty());
    EXPECT_EQ(dialogs.shown.back().messageId, msg::GuardNotStoodDown);
    EXPECT_NE(dialogs.shown.back().text.find("session 3"), std::string::npos);

    system.isElevated = false;
    controller().exitByAdministrator();
    EXPECT_EQ(consent.lines, (std::vector<std::vector<std::string>>{{"service", "stand-down"}}));
    EXPECT_FALSE(controller().shuttingDown()) << "consent declined";
    EXPECT_EQ(channel.asked, 1);

    consent.given = true;
    controller().exitByAdministrator();
    EXPECT_TRUE(controller().shuttingDown());
    EXPECT_TRUE(timers.isEnabled(TimerId::Exit));
}

TEST_F(ControllerTest, OlderWindowsWritesOnlyTheMachineRunKey) {
    system.minor = 1;
    system.major = 6;
    registry.writeString(RegRoot::LocalMachine, "SOFTWARE\\Ombrix\\Opzioni", "DataBase", dir.file("DataBase"));
    test::writeFile(dir.file("ombrix.exe"), "MZ");
    controller().startUp();
    ASSERT_TRUE(controller().login("segreta"));
    controller().onAutostartClicked(true);
    EXPECT_TRUE(registry.readValue(RegRoot::LocalMachine, kRunKey, "Ombrix"));
    EXPECT_FALSE(registry.readValue(RegRoot::CurrentUser, kRunKey, "Ombrix"));
}

// The executable was renamed by the administrator: the entry names the real file.
TEST_F(ControllerTest, StartUpRefreshesAnAutostartEntryThatPointsElsewhere) {
    system.fileName = "scuola.exe";
    registry.writeString(RegRoot::LocalMachine, kRunKey, "Ombrix", "C:\\Vecchio\\ombrix.exe");
    registry.writeString(RegRoot::CurrentUser, kRunKey, "Altro", "C:\\altro.exe");
    controller().startUp();
    EXPECT_EQ(registry.readValue(RegRoot::LocalMachine, kRunKey, "Ombrix"), dir.file("scuola.exe"));
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, kRunKey, "Ombrix"), std::nullopt) << "none made where none was";
    EXPECT_EQ(registry.readValue(RegRoot::CurrentUser, kRunKey, "Altro"), "C:\\altro.exe");
}

// The task manager button toggles the lock; hiding the form locks it again,
// and only the shutdown or Windows ends the program.
TEST_F(ControllerTest, TheTaskManagerLockAndWhatEndsTheProgram) {
    controller().startUp();
    controller().onTaskManagerClicked();
    EXPECT_TRUE(timers.isEnabled(TimerId::KillTaskManager)) << "refused before login";
    ASSERT_TRUE(controller().login("segreta"));
    controller().onTaskManagerClicked();
    EXPECT_FALSE(timers.isEnabled(TimerId::KillTaskManager));
    EXPECT_EQ(view.taskManagerCaption, "text 0150");
    controller().onTaskManagerClicked();
    EXPECT_TRUE(timers.isEnabled(TimerId::KillTaskManager));
    EXPECT_EQ(view.taskManagerCaption, "text 0149");

    controller().onTaskManagerClicked();  // the administrator let the task manager run
    EXPECT_TRUE(controller().refuseClose(Controller::CloseRequest::ControlBox));
    EXPECT_EQ(view.taskManagerCaption, "text 0163");
    EXPECT_TRUE(timers.isEnabled(TimerId::KillTaskManager));
    EXPECT_FALSE(controller().administrator()) << "hidden means locked again";
    EXPECT_TRUE(controller().refuseClose(Controller::CloseRequest::Other));
    EXPECT_TRUE(controller().refuseClose(Controller::CloseRequest::Program));
    EXPECT_FALSE(controller().refuseClose(Controller::CloseRequest::WindowsShutdown));
    ASSERT_TRUE(controller().login("segreta"));
    controller().onTaskManagerClicked();
    controller().onMinimised();
    EXPECT_EQ(view.taskManagerCaption, "text 0164");
    EXPECT_TRUE(timers.isEnabled(TimerId::KillTaskManager)) << "minimised means locked again";
}

TEST_F(ControllerTest, ShutdownGivesEverythingBackThenEnds) {
    // Only what the closing routine asks of it is recorded.
    struct Machine final : MachineProfile {
        explicit Machine(Journal& j) : journal(j) {}
        void disableDesktopSlideshow() override {}
        void rememberSettings() override {}
        bool keepLastRestrictions() override { return false; }
        void applyToMachine(const ProfileSwitches&) override {}
        void restoreStartButtonAndTaskbar() override {}
        void disableFirefoxCloseTabsWarning() override {}
        void releaseKeyboardHook() override { journal.add("release keyboard hook"); }
        void restoreSettings() override { journal.add("give the machine back"); }
        Journal& journal;
    } machineProfile{journal};
    controller().setMachineProfile(&machineProfile);
    processes.start("iexplore.exe", 2);  // survives two kills
    processes.start("FIREFOX.EXE", -1);  // never dies, and must not hang the shutdown
    processes.start("chrome.exe");
    controller().startUp();
    journal.entries.clear();
    controller().beginShutdown();
    EXPECT_TRUE(journal.inOrder({"view not topmost", "view closing notice", "timerSitiVietatiConsentiti off",
                                 "tmrProcessiVietati off", "clear internal browser", "lift for shutdown", "lists profile 0",
                                 "load sites 0",
                                 "load processes", "load windows", "tmrEsci on"}));
    EXPECT_EQ(controller().profileInUse(), 0);
    EXPECT_FALSE(controller().refuseClose(Controller::CloseRequest::WindowsShutdown));
    EXPECT_TRUE(controller().refuseClose(Controller::CloseRequest::Program)) << "not closed yet";

    controller().tickExit();
    EXPECT_FALSE(timers.isEnabled(TimerId::Exit));
    ASSERT_EQ(processes.running.size(), 2u) << "Internet Explorer killed until gone";
    EXPECT_EQ(processes.running[1].name, "chrome.exe") << "the closing routine leaves Chrome alone";
    // Every other form is gone before the machine is given back.
    EXPECT_TRUE(journal.inOrder({"view closing notice topmost", "view unload forms", "view not topmost",
                                 "release keyboard hook", "give the machine back", "view end"}));
    EXPECT_FALSE(store.connection.isOpen());
    EXPECT_FALSE(controller().refuseClose(Controller::CloseRequest::Program));
    controller().tickExit();
    EXPECT_EQ(journal.count("view end"), 1);
}

TEST_F(ControllerTest, NoticesTakeTheirHeadingAndFollowTheSwitch) {
    controller().startUp();
    controller().showMessage("Sito vietato", 1);
    controller().showMessage("Sito vietato", 9);
    EXPECT_EQ(view.notices, (std::vector<std::pair<std::string, std::string>>{{"Sito vietato", "text 0111"},
                                                                               {"Sito vietato", "text 0114"}}))
        << "an unknown kind takes the general heading";
    const auto shown = view.notices.size();
    controller().showMessage("   ", 1);
    EXPECT_EQ(view.notices.size(), shown) << "blank text shows nothing";

    sql("UPDATE Profili SET NascondiMessaggiNotifica = -1;");
    ASSERT_TRUE(controller().login("segreta"));
    controller().onProfileChosen("Nessuna restrizione");
    controller().showMessage("Sito vietato", 1);
    EXPECT_EQ(view.notices.size(), shown) << "the profile hides notices";
}

}  // namespace
}  // namespace ombrix::core
