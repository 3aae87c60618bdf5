#include "core/controller.h"

#include <algorithm>

#include "core/browser_switches.h"
#include "core/machine_policy.h"
#include "core/password.h"
#include "core/policy_locks.h"
#include "core/schema.h"
#include "core/settings_reg.h"
#include "core/store.h"
#include "core/store_access.h"
#include "core/store_copy.h"
#include "platform/failures.h"
#include "platform/process_control.h"
#include "platform/text.h"
#include "support/language.h"
#include "support/messages.h"

namespace ombrix::core {
namespace {

// An option the store would not keep. The program goes on with it for this
// session (the next start reads the old value), but not without a trace.
void traceUnsaved(const Database& db, std::string_view column,
                  std::source_location at = std::source_location::current()) {
    platform::recordFailure("an option was not saved", "Opzioni." + std::string(column) + ": " + db.lastError(), {},
                            at);
}

// A change the administrator made that the store did not keep, with the store's reason.
void tellUnsaved(StoreEnvironment& env, const std::string& why) {
    env.dialogs.messageBox({msg::StoreWriteFailed, env.language.messageText(msg::StoreWriteFailed) + " " + why,
                            std::string(kProgramTitle), platform::MessageIcon::Critical, platform::MessageButtons::Ok});
}

// Why an open store could not be read; empty when it did not open.
std::string storeError(const Database& db) {
    return db.isOpen() ? db.lastError() : std::string();
}

}  // namespace

bool storeAdministratorPassword(StoreEnvironment& env, Store& store, const std::string& password,
                                const std::string& confirmation) {
    Language& lang = env.language;
    if (policy::passwordManaged(env.registry)) {
        env.dialogs.messageBox({msg::PasswordManaged, lang.messageText(msg::PasswordManaged), std::string(kProgramTitle),
                                platform::MessageIcon::Exclamation, platform::MessageButtons::Ok});
        return false;
    }
    const MessageId problem = newPasswordProblem(password, confirmation);
    if (problem) {
        const std::string title =
            problem == msg::PasswordBlank ? lang.messageText(msg::PasswordInvalidTitle) : std::string(kProgramTitle);
        env.dialogs.messageBox({problem, lang.messageText(problem), title, platform::MessageIcon::Exclamation,
                                platform::MessageButtons::Ok});
        return false;
    }
    const std::optional<std::string> hash = hashPassword(password);
    if (hash && openDatabase(env, store) &&
        UpdateField(store.connection, "Opzioni", "PasswordAdmin", Value(*hash), kOptionsRow)) {
        // Kept only where the program may write the machine's key (elevated).
        (void)env.registry.writeString(platform::RegRoot::LocalMachine, settingsKey(kProgramTitle, kStoreSection),
                                       kPasswordChosenValue, "1");
        return true;
    }
    // Never a silent "Salva": the administrator must know the password was not kept.
    std::string why = hash ? store.connection.lastError() : "PBKDF2-HMAC-SHA256";
    if (why.empty()) why = store.connection.isOpen() ? "Opzioni" : store.folder;
    tellUnsaved(env, why);
    return false;
}

Controller::Controller(Machine machine, Store& store) : m_(machine), store_(store) {}

int Controller::killEveryInstance(std::string_view imageName) { return platform::KillProcess(m_.processes, imageName); }

void Controller::killUntilGone(const std::string& imageName) { platform::killUntilGone(m_.processes, m_.pump, imageName); }

void Controller::killTaskManager() { killEveryInstance("taskmgr.exe"); }

bool Controller::ensureStore() { return openDatabase(m_.env, store_); }

void Controller::protectFolders() {
    // Without full rights the system would refuse; a process that cannot
    // must not even try. A failure is the administrator's to see, through
    // ombrixctl protect, not the pupil's: it is only traced.
    if (!folderAccess_ || !m_.env.system.elevated()) return;
    const auto failure = core::protectStoreFolders(*folderAccess_, m_.env.files, store_.folder, m_.env.separator);
    if (!failure) return;
    if (failure->step == StoreAccessFailure::Step::MakeLogFolder) {
        platform::recordFailure("the log folder could not be made", failure->folder);
    } else {
        platform::recordFailure("the access list of a folder was not set", failure->folder + ": " + failure->error);
    }
}

std::string Controller::programPath() const {
    std::string name = m_.env.system.programFileName();
    if (name.empty()) name = std::string(kProgramExeName) + ".exe";
    return joinPath(m_.env.system.programFolder(), name, m_.env.separator);
}

bool Controller::runKeyForCurrentUser() const {
    return windowsMajor_ >= 7 || (windowsMajor_ == 6 && windowsMinor_ >= 2);
}

void Controller::trustMakerSite() {
    std::string domain = kMakerSite;
    if (domain.rfind("www.", 0) == 0) domain = domain.substr(4);
    const std::string key = std::string(kZoneMapDomains) + domain + "\\www";
    m_.env.registry.writeDword(platform::RegRoot::CurrentUser, key, "http", 2);
    m_.env.registry.writeDword(platform::RegRoot::CurrentUser, key, "https", 2);
}

bool Controller::autostartEntryPresent() {
    const std::string path = programPath();
    const auto machine = m_.env.registry.readValue(platform::RegRoot::LocalMachine, kRunKey, kProgramTitle);
    if (machine && equalsNoCase(*machine, path)) return true;
    const auto user = m_.env.registry.readValue(platform::RegRoot::CurrentUser, kRunKey, kProgramTitle);
    return user && equalsNoCase(*user, path);
}

void Controller::showPolicyLocks() {
    const policy::Locks locks = policy::readLocks(m_.env.registry);
    std::vector<std::string_view> names;
    for (const std::string_view name : {locks.profileInUse, locks.autostart, locks.onScreenKeyboard}) {
        if (!name.empty()) names.push_back(name);
    }
    m_.view.showPolicyLocks({!locks.profileInUse.empty(), !locks.autostart.empty(), !locks.onScreenKeyboard.empty()},
                            policy::lockedText(m_.env.language, names));
}

bool Controller::startsWithWindows() {
    return guardServiceInstalled(m_.env.registry) || autostartEntryPresent();
}

void Controller::enforceAutostartPolicy() {
    // The service starts the program: an entry would start a second one.
    if (!policy_.autostart || (*policy_.autostart && guardServiceInstalled(m_.env.registry))) return;
    const std::string path = programPath();
    if (*policy_.autostart) {
        if (!autostartEntryPresent()) SaveSettingReg(m_.env.registry, "", kRunKey, kProgramTitle, path);
    } else {
        // The user's own entry too: either starts the program.
        m_.env.registry.deleteValue(platform::RegRoot::LocalMachine, kRunKey, kProgramTitle);
        m_.env.registry.deleteValue(platform::RegRoot::CurrentUser, kRunKey, kProgramTitle);
    }
    if (administrator_) m_.view.setAutostartChecked(startsWithWindows());
}

void Controller::refreshAutostart() {
    if (guardServiceInstalled(m_.env.registry)) {
        // The user's own entry would race the service's start; the machine's
        // is the installer's to remove.
        m_.env.registry.deleteValue(platform::RegRoot::CurrentUser, kRunKey, kProgramTitle);
        return;
    }
    // An entry left by an earlier install points at the old place: rewrite it.
    const std::string path = programPath();
    for (const auto root : {platform::RegRoot::LocalMachine, platform::RegRoot::CurrentUser}) {
        const auto value = m_.env.registry.readValue(root, kRunKey, kProgramTitle);
        if (value && !value->empty() && *value != path) m_.env.registry.writeString(root, kRunKey, kProgramTitle, path);
    }
}

void Controller::fillProfileCombo() {
    std::vector<ProfileItem> items;
    int selected = -1;
    Statement q = store_.connection.prepare("SELECT Profili.IDProfilo, Profili.Profilo FROM Profili ORDER BY rowid;");
    while (q.step()) {
        items.push_back({q.column(0).toInteger(), valueOrDefault(q.column(1)).toText()});
        if (items.back().id == profileInUse_) selected = static_cast<int>(items.size()) - 1;
    }
    m_.view.fillProfiles(items, selected);
}

void Controller::applyProfile() {
    AppliedProfile applied = storeLost_                   ? lostStoreProfile()
                             : store_.connection.isOpen() ? readProfileSwitches(store_.connection, profileInUse_)
                                                          : AppliedProfile{};
    // A store another process holds locked lifts nothing: the switches in
    // force stay (put back on a machine the change began to free), and the
    // change is tried again. The shutdown's profile 0 is never held back.
    profilePending_ = !applied.unreadable.empty() && !shuttingDown_;
    if (profilePending_) {
        // The lists' loaders, which read the same store, tell the administrator.
        platform::recordFailure("the profile's switches could not be read", applied.unreadable);
        applied.switches = switches_;
        applied.homePagePending = false;
    }
    switches_ = applied.switches;
    homePagePending_ = applied.homePagePending;
    if (machineProfile_) machineProfile_->applyToMachine(switches_);
    if (lists_) lists_->setProfile(profileInUse_, switches_);
}

bool Controller::sitesBlockedByPolicy() const {
    // While the slots choose, the profile the policy names is not the one in use.
    return policy_.profileInUseUnusable && !timeSlotScheduleInForce();
}

void Controller::loadLists() {
    if (!lists_) return;
    sitesBlocked_ = sitesBlockedByPolicy();
    // A lost store blocks every page: no profile has the unknown one's sites.
    // So does a profile the policy names and the store lacks, while the
    // store's profile keeps its programs and windows forbidden.
    lists_->loadSites(storeLost_ || sitesBlocked_ ? kUnknownProfile : profileInUse_);
    lists_->loadForbiddenProcesses();
    lists_->loadForbiddenWindows();
}

Controller::StartResult Controller::startUp() {
    m_.view.applyIconAndLanguage();
    killTaskManager();
    if (machineProfile_) machineProfile_->disableDesktopSlideshow();
    killTaskManager();
    m_.view.showSplash();
    if (m_.instance.anotherInstanceRunning()) return StartResult::AnotherInstance;
    m_.view.showTrayIcon();
    windowsMajor_ = m_.env.system.windowsMajorVersion();
    windowsMinor_ = m_.env.system.windowsMinorVersion();
    store_.folder = chooseDatabaseFolder(m_.env);
    traceInLogFolder(store_.folder, m_.env.separator, kProgramExeName);
    killTaskManager();
    trustMakerSite();
    killTaskManager();
    refreshAutostart();
    killTaskManager();
    // On a machine whose administrator chose a password, a store that is
    // missing or cannot be read was not replaced by a first start: what the
    // last run put on the machine stays, and every page is blocked.
    storeLost_ = machineMarked(m_.env.registry) && !storeReadable();
    if (storeLost_) {
        startWithoutStore(msg::StoreLost);
        return StartResult::Running;
    }
    // Nor may a pupil's session choose the first password: until an
    // administrator does, nobody can log in, and nothing is lifted meanwhile.
    if (awaitingAdministratorsPassword()) {
        storeLost_ = true;
        startWithoutStore(msg::PasswordNotChosenYet);
        return StartResult::Running;
    }
    if (machineProfile_) machineProfile_->rememberSettings();
    killTaskManager();

    bool storeSound = false;
    if (ensureStore()) {
        // Only now is the folder final: the administrator may have picked another.
        traceInLogFolder(store_.folder, m_.env.separator, kProgramExeName);
        protectFolders();
        const UpgradeResult upgrade = upgradeToCurrentStructure(
            store_.connection, browserSwitchesFromUserSettings(m_.env.registry));
        storeSound = upgrade.outcome == UpgradeResult::Outcome::UpToDate ||
                     upgrade.outcome == UpgradeResult::Outcome::Upgraded;
        reportUpgrade(upgrade);
    }
    killTaskManager();
    readPolicy();
    showPolicyLocks();
    enforceAutostartPolicy();
    // A store without a password: the administrator chooses one first thing
    // once the lists are in force.
    if (store_.connection.isOpen() && firstStart()) askForPassword();
    killTaskManager();
    checkVirtualKeyboard(option(policy_.onScreenKeyboard, "TastieraVirtuale"));
    killTaskManager();
    profileInUse_ = chosenProfile();
    timeSlotSwitch_ = option(policy_.timeSlots, "FasceOrarie");
    showTimeSlotSwitch();
    if (timeSlotSwitch_) loadSchedule();
    killTaskManager();
    fillProfileCombo();
    killTaskManager();
    applyProfile();
    killTaskManager();
    loadLists();
    killTaskManager();
    m_.view.hideOwnerWindow();
    // A schedule changes profiles by itself: the form keeps out of the way.
    if (scheduleLoaded_ || homePagePending_) {
        m_.view.minimise();
    } else {
        m_.view.setTopmost(true);
    }
    killTaskManager();
    m_.timers.setEnabled(TimerId::KillTaskManager, true);
    logSwitch_ = option(policy_.visitedSitesLog, "LogSiti");
    m_.timers.setEnabled(TimerId::SiteLog, logSwitch_);
    // Changes another connection commits from now on are followed.
    storeVersion_ = store_.connection.dataVersion();
    finishStartUp();
    // What read whole is what a lost store falls back on.
    if (storeSound && !listsUnreadable_) keepStoreCopy();
    return StartResult::Running;
}

void Controller::finishStartUp() {
    killTaskManager();
    if (machineProfile_) machineProfile_->disableFirefoxCloseTabsWarning();
    killTaskManager();
    m_.view.closeSplashSoon();
}

bool Controller::storeReadable() {
    if (!ensureStore()) return false;
    Statement q = store_.connection.prepare("SELECT IDProfiloInUso, PasswordAdmin FROM Opzioni;");
    return q.valid() && q.step();
}

void Controller::tellStoreLost(const std::string& why) {
    std::string where = joinPath(store_.folder, kDatabaseFileName, m_.env.separator);
    if (!why.empty()) where += " (" + why + ")";
    tell(msg::StoreLost, where, platform::MessageIcon::Critical);
}

void Controller::reportStore(EventId id, const std::string& why) {
    if (events_) events_->report(id, {joinPath(store_.folder, kDatabaseFileName, m_.env.separator), why});
}

void Controller::openStoreCopy() {
    store_.connection.close();
    (void)core::openStoreCopy(store_.connection, joinPath(store_.folder, kDatabaseFileName, m_.env.separator));
}

bool Controller::storeBack() {
    store_.connection.close();
    if (storeReadable()) return true;
    const std::string why = storeError(store_.connection);
    openStoreCopy();
    tellStoreLost(why);
    return false;
}

AppliedProfile Controller::lostStoreProfile() {
    AppliedProfile lost;
    lost.switches.blockDownloads = true;
    lost.switches.maxProtection = true;
    lost.switches.kiosk = lastRunLockedShell_;
    // Only what restricts more: its printer and home page are the journal's business.
    if (store_.connection.isOpen()) {
        const ProfileSwitches last = readProfileSwitches(store_.connection, profileInUse_).switches;
        lost.switches.kiosk = lost.switches.kiosk || last.kiosk;
        lost.switches.startDisabled = last.startDisabled;
        lost.switches.internalBrowser = last.internalBrowser;
    }
    return lost;
}

bool Controller::awaitingAdministratorsPassword() {
    // Read before the rest of the policy: a password the policy sets is chosen.
    return platform::changesNeedConsent(m_.env.system) && !machineMarked(m_.env.registry) && storeReadable() &&
           !policy::passwordManaged(m_.env.registry) && !passwordIsSet();
}

void Controller::startWithoutStore(platform::MessageId reason) {
    lastRunLockedShell_ = machineProfile_ && machineProfile_->keepLastRestrictions();
    const std::string why = storeError(store_.connection);
    killTaskManager();
    // The profile in use, its programs and windows, and the time slots come
    // from the copy an administrator's last write left; every page is blocked
    // and the strictest switches stand in for the profile's own. Without a
    // copy no profile is known and only those hold.
    openStoreCopy();
    profileInUse_ = valueOrDefault(ReadField(store_.connection, "Opzioni", "IDProfiloInUso", kOptionsRow),
                                   Value(static_cast<std::int64_t>(kUnknownProfile)))
                        .toInteger();
    if (profileInUse_ <= 0) profileInUse_ = kUnknownProfile;
    timeSlotSwitch_ =
        valueOrDefault(ReadField(store_.connection, "Opzioni", "FasceOrarie", kOptionsRow), Value::boolean(false))
            .toBool();
    if (timeSlotSwitch_) loadSchedule();
    killTaskManager();
    applyProfile();
    loadLists();
    m_.view.hideOwnerWindow();
    m_.view.setTopmost(true);
    m_.timers.setEnabled(TimerId::KillTaskManager, true);
    finishStartUp();
    if (reason == msg::StoreLost) {
        tellStoreLost(why);
        reportStore(EventId::StoreLost, why);
    } else {
        tell(reason, {}, platform::MessageIcon::Critical);
    }
}

long long Controller::profileIdByName(const std::string& name) {
    return ReadField(store_.connection, "Profili", "IDProfilo", Condition{"Profilo" OMBRIX_TEXT_EQUALS, {Value(name)}}).toInteger();
}

void Controller::onProfileChosen(const std::string& name) {
    ensureStore();
    if (policy_.profileInUse || policy_.profileInUseUnusable) {
        // The policy's profile stays: the combo shows it again.
        fillProfileCombo();
        return;
    }
    putInUse(profileIdByName(name));
    // Only the combo opens the home page: a time slot's change must not
    // start browsers in the middle of a lesson.
    if (homePagePending_) {
        m_.timers.setEnabled(TimerId::LaunchHomePage, true);
        homePagePending_ = false;
    }
}

void Controller::putInUse(long long id) {
    m_.timers.setEnabled(TimerId::SiteCheck, false);
    m_.timers.setEnabled(TimerId::ForbiddenProcesses, false);
    homePagePending_ = false;
    if (machineProfile_) {
        machineProfile_->disableDesktopSlideshow();
        machineProfile_->restoreStartButtonAndTaskbar();
    }
    if (lists_) lists_->forgetLastAddress();
    ensureStore();
    // Set before anything can let a tick in: a tick inside this switch sees
    // the new profile in use and does not switch again.
    profileInUse_ = id;
    applyProfile();
    loadLists();
    // A lost store's copy is only read; the policy's profile is not the PC's own choice.
    if (!storeLost_ && !policy_.profileInUse && !UpdateField(store_.connection, "Opzioni", "IDProfiloInUso",
                                    Value(static_cast<std::int64_t>(profileInUse_)), kOptionsRow)) {
        traceUnsaved(store_.connection, "IDProfiloInUso");
    }
}

void Controller::readPolicy() {
    policy_ = policy::readMachinePolicy(m_.env.registry, store_.connection);
    // Each reading says its refusals again (a refresh of Group Policy
    // rewrites the key), held back for a minute like any repeat.
    if (events_ == nullptr) return;
    for (const auto& r : policy_.refusals) {
        events_->reportOnce(EventId::PolicyValueRefused, {std::string(r.value), r.reason});
    }
}

bool Controller::option(const std::optional<bool>& policy, const char* column) {
    if (policy) return *policy;
    return valueOrDefault(ReadField(store_.connection, "Opzioni", column, kOptionsRow), Value::boolean(false)).toBool();
}

long long Controller::chosenProfile() {
    if (policy_.profileInUse) return *policy_.profileInUse;
    return valueOrDefault(ReadField(store_.connection, "Opzioni", "IDProfiloInUso", kOptionsRow), Value(0)).toInteger();
}

void Controller::checkVirtualKeyboard(bool on) {
    keyboardChecked_ = on;
    m_.view.setVirtualKeyboardChecked(on);
}

void Controller::showVirtualKeyboard(bool on) {
    checkVirtualKeyboard(on);
    if (keyboard_ == nullptr) return;
    if (on) {
        keyboard_->show();
    } else {
        keyboard_->hide();
    }
}

void Controller::policyChanged() {
    // A lost store's restrictions stay until the store is back.
    if (shuttingDown_ || storeLost_) return;
    ensureStore();
    const policy::MachinePolicy before = policy_;
    readPolicy();
    showPolicyLocks();
    if (policy_ == before) return;
    enforceAutostartPolicy();
    followSettings(false);
}

void Controller::followSettings(bool reloadProfile) {
    const bool keyboard = option(policy_.onScreenKeyboard, "TastieraVirtuale");
    if (keyboard != keyboardChecked_) showVirtualKeyboard(keyboard);
    logSwitch_ = option(policy_.visitedSitesLog, "LogSiti");
    m_.timers.setEnabled(TimerId::SiteLog, logSwitch_);
    timeSlotSwitch_ = option(policy_.timeSlots, "FasceOrarie");
    showTimeSlotSwitch();
    scheduleLoaded_ = false;
    if (timeSlotSwitch_) loadSchedule();
    const long long wanted = timeSlotScheduleInForce() ? schedule_->profileForNow() : chosenProfile();
    if (wanted != profileInUse_ || sitesBlockedByPolicy() != sitesBlocked_) {
        putInUse(wanted);
    } else if (reloadProfile) {
        applyProfile();
        loadLists();
    }
    fillProfileCombo();
}

void Controller::tickStoreChanges() {
    if (shuttingDown_ || storeLost_ || editingProfiles_ || !store_.connection.isOpen()) return;
    const std::optional<std::int64_t> version = store_.connection.dataVersion();
    // Held locked by its writer: asked again at the next tick.
    if (!version || version == storeVersion_) return;
    storeVersion_ = version;
    followSettings(true);
}

void Controller::loadSchedule() {
    // A schedule that cannot be read is none: the program runs without it.
    scheduleLoaded_ = schedule_ && store_.connection.isOpen() && schedule_->load();
}

void Controller::afterTimeSlotEditor() {
    ensureStore();
    timeSlotSwitch_ = option(policy_.timeSlots, "FasceOrarie");
    showTimeSlotSwitch();
    loadSchedule();
}

void Controller::showTimeSlotSwitch() {
    m_.view.showTimeSlots(timeSlotSwitch_,
                          m_.env.language.messageText(timeSlotSwitch_ ? msg::TimeSlotsOn : msg::TimeSlotsOff));
}

void Controller::tickTimeSlots() {
    if (shuttingDown_ || !timeSlotScheduleInForce()) return;
    const long long chosen = schedule_->profileForNow();
    if (chosen == profileInUse_) return;
    putInUse(chosen);
    // The combo shows the profile the slots put in use.
    fillProfileCombo();
}

void Controller::tickProfileRetry() {
    if (!profilePending_ || shuttingDown_ || storeLost_ || ++retryTicks_ < kProfileRetryTicks) return;
    retryTicks_ = 0;
    // Only a store that reads again is worth the change: each try that
    // fails would free the shell and lock it again.
    if (readProfileSwitches(store_.connection, profileInUse_).unreadable.empty()) putInUse(profileInUse_);
}

bool Controller::passwordIsSet() {
    if (policy_.passwordHash) return true;
    return !valueOrDefault(ReadField(store_.connection, "Opzioni", "PasswordAdmin", kOptionsRow)).toText().empty();
}

bool Controller::firstStart() {
    if (passwordIsSet()) return false;
    if (machineMarked(m_.env.registry)) {
        tell(msg::PasswordMissingFromStore, {}, platform::MessageIcon::Critical);
        if (!replacedReported_) {
            replacedReported_ = true;
            reportStore(EventId::StoreLost, "Opzioni.PasswordAdmin");
        }
    } else if (platform::changesNeedConsent(m_.env.system)) {
        tell(msg::PasswordNotChosenYet, {}, platform::MessageIcon::Critical);
    } else {
        return true;
    }
    return false;
}

bool Controller::savePassword(const std::string& password, const std::string& confirmation) {
    return storeAdministratorPassword(m_.env, store_, password, confirmation);
}

void Controller::reportUpgrade(const UpgradeResult& upgrade) {
    switch (upgrade.outcome) {
        case UpgradeResult::Outcome::Upgraded: tell(msg::StoreUpgraded, {}, platform::MessageIcon::Information); break;
        case UpgradeResult::Outcome::Failed:
            tell(msg::StoreUpgradeFailed, upgrade.step + ": " + upgrade.error, platform::MessageIcon::Critical);
            reportStore(EventId::StoreUnreadable, upgrade.step + ": " + upgrade.error);
            break;
        case UpgradeResult::Outcome::NotOurStore:
            tell(msg::NotOurStore, store_.connection.path() + " (" + upgrade.error + ")",
                 platform::MessageIcon::Critical);
            reportStore(EventId::StoreUnreadable, upgrade.error);
            break;
        case UpgradeResult::Outcome::UpToDate: break;
    }
}

void Controller::storeUnreadable(const std::string& why) {
    if (storeLost_) return;  // told at start, with the store's place
    listsUnreadable_ = true;
    tell(msg::StoreUnreadable, why, platform::MessageIcon::Critical);
    reportStore(EventId::StoreUnreadable, why);
}

void Controller::tell(MessageId id, const std::string& detail, platform::MessageIcon icon) {
    std::string text = m_.env.language.messageText(id);
    if (!detail.empty()) text += " " + detail;
    const platform::MessageBoxRequest box{id, text, std::string(kProgramTitle), icon, platform::MessageButtons::Ok};
    // One box for a thing told again before it was shown.
    for (const auto& waiting : waiting_) {
        if (waiting && waiting->messageId == box.messageId && waiting->text == box.text) return;
    }
    waiting_.emplace_back(box);
    m_.view.noticesWaiting();
}

void Controller::askForPassword() {
    if (std::find(waiting_.begin(), waiting_.end(), std::nullopt) != waiting_.end()) return;
    waiting_.emplace_back(std::nullopt);
    m_.view.noticesWaiting();
}

void Controller::showWaitingNotices() {
    if (showingNotices_) return;
    showingNotices_ = true;
    // The timers tick inside each box; what they tell meanwhile comes after it.
    while (!waiting_.empty() && !shuttingDown_) {
        const std::optional<platform::MessageBoxRequest> next = std::move(waiting_.front());
        waiting_.pop_front();
        if (next) {
            (void)m_.env.dialogs.messageBox(*next);
        } else if (!passwordIsSet()) {
            m_.view.openOptions();
        }
    }
    showingNotices_ = false;
}

void Controller::keepStoreCopy() {
    // Where the pupil's account cannot write the store, it cannot write its
    // copy either: only an elevated process tries.
    if (!m_.env.system.elevated() || !store_.connection.isOpen()) return;
    if (const auto failure = core::keepStoreCopy(store_.connection)) {
        platform::recordFailure("the store's copy was not kept", *failure);
    }
}

void Controller::storeChanged() {
    if (!storeLost_) keepStoreCopy();
}

bool Controller::login(const std::string& typed) {
    if (storeLost_ ? !storeBack() : !ensureStore()) return false;
    // The policy's password, while it sets a usable one, is the only one that opens.
    const std::string stored =
        policy_.passwordHash
            ? *policy_.passwordHash
            : valueOrDefault(ReadField(store_.connection, "Opzioni", "PasswordAdmin", kOptionsRow)).toText();
    if (stored.empty()) {
        // Nobody has chosen a password yet: that comes first.
        if (firstStart()) askForPassword();
        return false;
    }
    if (!passwordMatches(stored, typed)) {
        if (events_) events_->report(EventId::LoginFailed, {});
        return false;
    }
    if (storeLost_) {
        // The store is back: the administrator chooses the profile again.
        storeLost_ = false;
        fillProfileCombo();
    }
    // Only now is the password known: a value an older version kept as typed,
    // or hashed with less work than today's, is replaced. When that fails the
    // old value still opens, and the next login tries again.
    if (!policy_.passwordHash && passwordNeedsRehash(stored)) {
        const std::optional<std::string> fresh = hashPassword(typed);
        if (!fresh || !UpdateField(store_.connection, "Opzioni", "PasswordAdmin", Value(*fresh), kOptionsRow)) {
            traceUnsaved(store_.connection, "PasswordAdmin");
        }
    }
    administrator_ = true;
    if (events_) events_->report(EventId::AdministratorLogin, {});
    m_.view.setAdministratorMode(true);
    m_.view.clearPassword();
    m_.view.setAutostartChecked(startsWithWindows());
    return true;
}

void Controller::lock() {
    administrator_ = false;
    m_.view.clearPassword();
    m_.view.setAdministratorMode(false);
}

bool Controller::changesNeedConsent() { return elevatedControl_ && platform::changesNeedConsent(m_.env.system); }

void Controller::writeUserAutostart(bool on, const std::string& path) {
    if (!on) {
        m_.env.registry.deleteValue(platform::RegRoot::CurrentUser, kRunKey, kProgramTitle);
    } else if (runKeyForCurrentUser()) {
        m_.env.registry.writeString(platform::RegRoot::CurrentUser, kRunKey, kProgramTitle, path);
    }
}

void Controller::onAutostartClicked(bool ticked) {
    if (!administrator_) return;
    if (guardServiceInstalled(m_.env.registry)) {
        m_.view.setAutostartChecked(true);
        tell(msg::AutostartByGuardService, {}, platform::MessageIcon::Information);
        return;
    }
    if (policy_.autostart) {
        m_.view.setAutostartChecked(autostartEntryPresent());
        return;
    }
    const std::string path = programPath();
    if (ticked && !m_.env.files.fileExists(path)) {
        m_.view.setAutostartChecked(autostartEntryPresent());
        return;
    }
    if (changesNeedConsent()) {
        // The machine's entry is the administrator's; the user's own follows
        // it, in this user's settings, once that is done.
        if (elevatedControl_->runControl({"autostart", ticked ? "on" : "off"})) writeUserAutostart(ticked, path);
    } else {
        if (ticked) {
            SaveSettingReg(m_.env.registry, "", kRunKey, kProgramTitle, path);
        } else {
            m_.env.registry.deleteValue(platform::RegRoot::LocalMachine, kRunKey, kProgramTitle);
        }
        writeUserAutostart(ticked, path);
    }
    m_.view.setAutostartChecked(autostartEntryPresent());
}

void Controller::onVirtualKeyboardClicked(bool ticked) {
    if (!administrator_) return;
    if (policy_.onScreenKeyboard) {
        showVirtualKeyboard(*policy_.onScreenKeyboard);
        return;
    }
    ensureStore();
    bool saved = false;
    if (changesNeedConsent()) {
        saved = elevatedControl_->runControl({"option", "keyboard", ticked ? "on" : "off"});
    } else {
        saved = UpdateField(store_.connection, "Opzioni", "TastieraVirtuale", Value::boolean(ticked), kOptionsRow);
        if (!saved) tellUnsaved(m_.env, store_.connection.lastError());
    }
    // The box, and the keyboard with it, follow what the store holds now.
    const Value stored = ReadField(store_.connection, "Opzioni", "TastieraVirtuale", kOptionsRow);
    showVirtualKeyboard(stored.isEmpty() ? (saved ? ticked : !ticked)
                                         : valueOrDefault(stored, Value::boolean(false)).toBool());
}

void Controller::onTaskManagerClicked() {
    if (!administrator_) return;
    // The lock is the timer that keeps closing the task manager.
    const bool locked = !m_.timers.isEnabled(TimerId::KillTaskManager);
    m_.timers.setEnabled(TimerId::KillTaskManager, locked);
    m_.view.setTaskManagerCaption(m_.env.language.messageText(locked ? msg::UnlockTaskManagerAfterClick
                                                                        : msg::LockTaskManagerAfterClick));
}

void Controller::setLogSwitch(bool on) {
    logSwitch_ = policy_.visitedSitesLog.value_or(on);
    m_.timers.setEnabled(TimerId::SiteLog, on);
}

void Controller::onOptionsClicked() {
    if (!administrator_) return;
    m_.view.openOptions();
}

void Controller::beforeProfileEditor() {
    editingProfiles_ = true;
    m_.timers.setEnabled(TimerId::ForbiddenProcesses, false);
    m_.timers.setEnabled(TimerId::SiteCheck, false);
    m_.timers.setEnabled(TimerId::CloseWindows, false);
}

void Controller::afterProfileEditor() {
    editingProfiles_ = false;
    ensureStore();
    fillProfileCombo();
    applyProfile();
    loadLists();
    if (!policy_.profileInUse && !UpdateField(store_.connection, "Opzioni", "IDProfiloInUso",
                                              Value(static_cast<std::int64_t>(profileInUse_)), kOptionsRow)) {
        traceUnsaved(store_.connection, "IDProfiloInUso");
    }
}

void Controller::exitByAdministrator() {
    if (!administrator_ || shuttingDown_) return;
    if (!storeLost_ && guardServiceInstalled(m_.env.registry)) {
        std::string why;
        if (changesNeedConsent()) {
            // The elevated run tells why it failed, if it did.
            if (!elevatedControl_->runControl({"service", "stand-down"})) return;
        } else if (guardChannel_ && !guardChannel_->standDown(why)) {
            tell(msg::GuardNotStoodDown, why, platform::MessageIcon::Exclamation);
            return;
        }
    }
    beginShutdown();
}

void Controller::beginShutdown() {
    if (shuttingDown_) return;
    shuttingDown_ = true;
    if (storeLost_) {
        // Only Windows ends a run without a store: what is in force stays,
        // and so does the journal, for the start that finds the store again.
        m_.timers.setEnabled(TimerId::Exit, true);
        return;
    }
    m_.view.setTopmost(false);
    m_.view.showClosingNotice();
    m_.timers.setEnabled(TimerId::SiteCheck, false);
    m_.timers.setEnabled(TimerId::ForbiddenProcesses, false);
    if (machineProfile_) {
        machineProfile_->disableDesktopSlideshow();
        machineProfile_->restoreStartButtonAndTaskbar();
    }
    // No profile has the identifier 0: every switch reads off and, told it is
    // the shutdown's, the enforcement loads no list, which lifts everything
    // the profile put on the machine.
    if (lists_) {
        lists_->clearInternalBrowser();
        lists_->liftForShutdown();
    }
    homePagePending_ = false;
    profileInUse_ = 0;
    applyProfile();
    loadLists();
    m_.timers.setEnabled(TimerId::Exit, true);
}

void Controller::tickExit() {
    m_.timers.setEnabled(TimerId::Exit, false);
    if (closed_) return;
    closed_ = true;
    m_.view.setClosingNoticeTopmost();
    killEveryInstance(platform::kMisspeltInternetExplorer);
    killUntilGone("iexplore.exe");
    killUntilGone("firefox.exe");
    m_.view.unloadOtherForms();
    m_.view.setTopmost(false);
    store_.connection.close();
    if (machineProfile_) {
        machineProfile_->releaseKeyboardHook();
        if (!storeLost_) machineProfile_->restoreSettings();
    }
    m_.view.endProgram();
}

bool Controller::refuseClose(CloseRequest request) {
    switch (request) {
        case CloseRequest::WindowsShutdown:
            return false;
        case CloseRequest::Program:
            return !closed_;
        case CloseRequest::ControlBox:
            m_.view.setTaskManagerCaption(m_.env.language.messageText(msg::UnlockTaskManagerAfterClose));
            m_.timers.setEnabled(TimerId::KillTaskManager, true);
            lock();
            return true;
        case CloseRequest::Other:
            return true;
    }
    return true;
}

void Controller::onMinimised() {
    m_.view.setTaskManagerCaption(m_.env.language.messageText(msg::UnlockTaskManagerAfterMinimise));
    m_.timers.setEnabled(TimerId::KillTaskManager, true);
    lock();
}

void Controller::showMessage(const std::string& text, int kind) {
    if (switches_.hideMessages || trimBlanks(text).empty()) return;
    const MessageId heading = kind == 1   ? msg::NoticeTitleSiteBlocked
                              : kind == 2 ? msg::NoticeTitleProgramClosed
                              : kind == 3 ? msg::NoticeTitleWindowClosed
                                          : msg::NoticeTitleOther;
    m_.view.showNotice(text, m_.env.language.messageText(heading));
}

}  // namespace ombrix::core
