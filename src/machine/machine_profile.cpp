#include "machine/machine_profile.h"

#include <algorithm>
#include <charconv>
#include <unordered_set>

#include "machine/firefox_prefs.h"
#include "machine/firefox_profile.h"
#include "platform/failures.h"
#include "platform/process_control.h"
#include "platform/text.h"

namespace ombrix::core {
namespace {

using platform::RegRoot;

constexpr int kMinimisedFocus = 2;
constexpr int kNormalNoFocus = 4;

std::string printerOfDevice(std::string_view device) { return std::string(device.substr(0, device.find(','))); }

}  // namespace

std::string defaultPrinterName(platform::Printers& printers) {
    return printerOfDevice(printers.profileString("windows", "Device"));
}

bool giveBack(GiveBackSeams m, const SavedSetting& s) {
    using V = SavedSetting::Value;
    switch (s.kind) {
        case SavedSetting::Kind::Registry:
            if (s.type == V::Absent) return m.registry.deleteValue(s.root, s.path, s.name);
            if (s.type == V::Text) return m.registry.writeString(s.root, s.path, s.name, s.value);
            {
                std::uint32_t number = 0;
                const auto [end, ec] = std::from_chars(s.value.data(), s.value.data() + s.value.size(), number);
                return ec == std::errc() && m.registry.writeDword(s.root, s.path, s.name, number);
            }
        case SavedSetting::Kind::DefaultPrinter: {
            const std::string device = s.type == V::Absent ? std::string() : s.value;
            if (!m.printers.writeDefaultDevice(device)) return false;
            if (!device.empty()) m.printers.rewriteSettings(printerOfDevice(device));
            return true;
        }
        case SavedSetting::Kind::FirefoxHomePage:
            return s.type == V::Absent ? ClearFirefoxHomePage(s.path) : setFirefoxHomePage(s.path, s.value);
        case SavedSetting::Kind::Desktop:
            m.desktop.lockDesktop(false, false);
            return true;
        case SavedSetting::Kind::CreatedKey: return m.registry.deleteEmptyKey(s.root, s.path);
    }
    return false;
}

std::vector<GivenBack> giveBackInOrder(GiveBackSeams m, std::vector<SavedSetting> settings,
                                       const std::function<bool(const SavedSetting&)>& alreadyBack) {
    using K = SavedSetting::Kind;
    const auto isKey = [](const SavedSetting& s) { return s.kind == K::CreatedKey; };
    const auto depth = [](const SavedSetting& s) { return std::count(s.path.begin(), s.path.end(), '\\'); };
    const auto firstKey = std::stable_partition(settings.begin(), settings.end(), [&](const auto& s) { return !isKey(s); });
    std::stable_sort(firstKey, settings.end(), [&](const auto& a, const auto& b) { return depth(a) > depth(b); });

    std::vector<GivenBack> out;
    // The registry paths of what stays: a key above one of them is not empty because of us.
    std::vector<std::pair<RegRoot, std::string>> stays;
    for (auto& s : settings) {
        GivenBack given{std::move(s), false, false};
        given.done = (alreadyBack && alreadyBack(given.setting)) ||
                     platform::guarded([&] { return giveBack(m, given.setting); }, false);
        const bool registry = given.setting.kind == K::Registry || isKey(given.setting);
        const std::string path = lowerText(given.setting.path);
        if (!given.done && isKey(given.setting)) {
            const bool oursBelow = std::any_of(stays.begin(), stays.end(), [&](const auto& below) {
                return below.first == given.setting.root &&
                       (below.second == path || below.second.rfind(path + "\\", 0) == 0);
            });
            given.done = given.leftInPlace = !oursBelow;
        }
        if (!given.done && registry) stays.emplace_back(given.setting.root, path);
        out.push_back(std::move(given));
    }
    return out;
}

Recovery giveBackJournal(MachineJournal& journal, GiveBackSeams m) {
    MachineJournal::OnDisk disk = journal.read();
    Recovery recovery{disk.state, {}};
    if (disk.state == MachineJournal::State::Damaged) {
        journal.setAsideDamaged();
        journal.reset({});
        return recovery;
    }
    recovery.settings = giveBackInOrder(m, std::move(disk.settings));
    std::vector<SavedSetting> kept;
    for (const auto& given : recovery.settings) {
        if (!given.done) kept.push_back(given.setting);
    }
    if (!journal.reset(std::move(kept)) && disk.state == MachineJournal::State::Intact) {
        platform::recordFailure("the machine journal could not be renewed", journal.path());
    }
    return recovery;
}

std::vector<SavedSetting> MachineSettings::keysToCreate(RegRoot root, const std::string& path) {
    std::vector<SavedSetting> created;
    for (std::string key = path; !key.empty();) {
        SavedSetting record{SavedSetting::Kind::CreatedKey, root, key, {}, SavedSetting::Value::Absent, {}};
        if (m_.journal.find(record.key()) || m_.registry.keyExists(root, key)) break;
        created.push_back(std::move(record));
        const std::size_t parent = key.rfind('\\');
        key.resize(parent == std::string::npos ? 0 : parent);
    }
    return created;
}

void MachineSettings::rememberRegistry(RegRoot root, const char* path, const char* name, SavedSetting::Value type) {
    SavedSetting previous{SavedSetting::Kind::Registry, root, path, name, type, {}};
    if (m_.journal.find(previous.key())) return;
    // A value of another type reads as missing: it is given back as missing.
    const auto value = m_.registry.readValue(root, path, name);
    if (value) {
        previous.value = *value;
    } else {
        previous.type = SavedSetting::Value::Absent;
    }
    std::vector<SavedSetting> records = keysToCreate(root, path);
    records.push_back(std::move(previous));
    m_.journal.remember(records);
}

void MachineSettings::writeDword(RegRoot root, const char* path, const char* name, std::uint32_t value) {
    if (givenBack_) return;
    rememberRegistry(root, path, name, SavedSetting::Value::Dword);
    m_.registry.writeDword(root, path, name, value);
}

void MachineSettings::writeText(RegRoot root, const char* path, const char* name, const std::string& value) {
    if (givenBack_) return;
    rememberRegistry(root, path, name, SavedSetting::Value::Text);
    m_.registry.writeString(root, path, name, value);
}

void MachineSettings::applyFirefoxHomePage(const std::string& address) {
    if (firefoxFolder_.empty() || givenBack_) return;
    SavedSetting previous{SavedSetting::Kind::FirefoxHomePage, RegRoot::CurrentUser, firefoxFolder_, {},
                          SavedSetting::Value::Text, HomePageFirefox(firefoxFolder_)};
    if (!m_.journal.find(previous.key())) {
        if (previous.value.empty()) previous.type = SavedSetting::Value::Absent;
        m_.journal.remember(previous);
    }
    setFirefoxHomePage(firefoxFolder_, address);
}

void MachineSettings::lockDesktop(bool hideIcons, bool lockShell) {
    if (givenBack_) return;
    if (hideIcons || lockShell) m_.journal.remember({SavedSetting::Kind::Desktop, RegRoot::CurrentUser, {}, {}, {}, {}});
    m_.desktop.lockDesktop(hideIcons, lockShell);
}

void MachineSettings::setHomePage(const std::string& address) {
    writeText(RegRoot::CurrentUser, kInternetExplorerMain, kStartPage, address);
}

bool MachineSettings::setDefaultPrinter(const std::string& printer) {
    const std::string ports = m_.printers.profileString("PrinterPorts", printer);
    if (ports.empty() || givenBack_) return false;
    // "driver,port,timeouts...": the driver, then the port.
    const std::size_t comma = ports.find(',');
    const std::string driver = ports.substr(0, comma);
    const std::string port =
        comma == std::string::npos ? std::string() : ports.substr(comma + 1, ports.find(',', comma + 1) - comma - 1);
    const std::string current = m_.printers.profileString("windows", "Device");
    m_.journal.remember({SavedSetting::Kind::DefaultPrinter, RegRoot::CurrentUser, {}, {},
                         current.empty() ? SavedSetting::Value::Absent : SavedSetting::Value::Text, current});
    // The change's broadcast lets sent messages in: the session's end among them.
    if (!m_.printers.writeDefaultDevice(printer + "," + driver + "," + port) || givenBack_) return false;
    m_.printers.rewriteSettings(printer);
    return true;
}

void MachineSettings::setBrowserEmulation() {
    std::string exe = m_.system.programFileName();
    if (exe.empty()) exe = std::string(kProgramExeName) + ".exe";
    writeDword(RegRoot::CurrentUser, kBrowserEmulation, exe.c_str(), m_.system.windowsMajorVersion() < 6 ? 8000 : 11000);
}

void MachineSettings::disableDesktopSlideshow() {
    const std::string profile = m_.system.environment("USERPROFILE");
    if (profile.empty()) return;
    const std::string file = profile + "\\AppData\\Roaming\\Microsoft\\Windows\\Themes\\slideshow.ini";
    // Without the file the slideshow has nothing to show: the panel's key
    // (its timing and order) stays as the user set it, and the shell is
    // restarted only when there was a slideshow to stop, not on every
    // change of profile.
    if (!m_.files.fileExists(file)) return;
    m_.files.removeFile(file);
    m_.desktop.restartShell();
    // The shell may write it again as it goes.
    m_.files.removeFile(file);
}

void MachineSettings::rememberSettings() {
    m_.journal.setPath(journalPath_());
    // Before anything is remembered: after a crash the machine still holds
    // the values of the last run, which must not become the ones to give back.
    recovery_ = giveBackJournal(m_.journal, giveBackSeams());
    reportRecovery();
    firefoxFolder_ = firefoxProfilePath(m_.system.environment("APPDATA"));
    printer_ = defaultPrinterName(m_.printers);
    startPage_ = m_.registry.readValue(RegRoot::CurrentUser, kInternetExplorerMain, kStartPage);
    firefoxHomePage_ = HomePageFirefox(firefoxFolder_);
}

void MachineSettings::reportRecovery() {
    // A journal on disk at start means the last run did not end as it should.
    if (!events_ || recovery_.state != MachineJournal::State::Intact || recovery_.settings.empty()) return;
    const auto done = std::count_if(recovery_.settings.begin(), recovery_.settings.end(),
                                    [](const GivenBack& g) { return g.done || g.leftInPlace; });
    const auto left = static_cast<std::ptrdiff_t>(recovery_.settings.size()) - done;
    events_->report(core::EventId::MachineGivenBack, {std::to_string(done), std::to_string(left)});
}

bool MachineSettings::keepLastRestrictions() {
    m_.journal.setPath(journalPath_());
    MachineJournal::OnDisk disk = m_.journal.read();
    if (disk.state == MachineJournal::State::Damaged) {
        m_.journal.setAsideDamaged();
        m_.journal.reset({});
    }
    const bool shellLocked = std::any_of(disk.settings.begin(), disk.settings.end(), [](const SavedSetting& s) {
        return s.kind == SavedSetting::Kind::Desktop;
    });
    // Known to this run, so that nothing is recorded over them.
    if (disk.state == MachineJournal::State::Intact && !m_.journal.reset(std::move(disk.settings))) {
        platform::recordFailure("the machine journal could not be renewed", m_.journal.path());
    }
    firefoxFolder_ = firefoxProfilePath(m_.system.environment("APPDATA"));
    return shellLocked;
}

void MachineSettings::applyTaskbarFlags(const ProfileSwitches& switches) {
    // Kiosk first: with both switches on, the desktop is hidden as well.
    if (switches.kiosk) {
        lockDesktop(true, true);
    } else if (switches.startDisabled) {
        lockDesktop(false, true);
    } else {
        lockDesktop(false, false);
    }
}

void MachineSettings::applyToMachine(const ProfileSwitches& switches) {
    // Each step on its own: one that fails leaves the others to run.
    const std::string printer(trimBlanks(switches.printer));
    if (!printer.empty()) platform::guarded([&] { setDefaultPrinter(printer); });
    const std::string page(trimBlanks(switches.homePage));
    if (!page.empty() && !homePageIsProgram(page)) {
        platform::guarded([&] { setHomePage(switches.homePage); });
        platform::guarded([&] { applyFirefoxHomePage(switches.homePage); });
    }
    platform::guarded([&] {
        writeDword(RegRoot::CurrentUser, kZone3, kDownloadValue, switches.blockDownloads ? 3 : 0);
    });
    platform::guarded([&] { applyTaskbarFlags(switches); });
}

void MachineSettings::siteListInForce(const std::optional<PolicySites>& sites) {
    const BrowserPolicies wanted = sites ? translatePolicies(*sites) : BrowserPolicies{};
    if (wanted.values == policies_ || givenBack_) return;
    for (const auto& why : wanted.leftToReaders) platform::recordFailure("browser policies: left to the readers", why);
    const auto setting = [](const PolicyValue& v) {
        return SavedSetting{SavedSetting::Kind::Registry, RegRoot::CurrentUser, v.path, v.name,
                            v.dword ? SavedSetting::Value::Dword : SavedSetting::Value::Text, {}};
    };
    std::unordered_set<std::string> keep;
    for (const auto& v : wanted.values) keep.insert(setting(v).key());
    for (const auto& v : policies_) {
        const SavedSetting* before = m_.journal.find(setting(v).key());
        if (before && !keep.count(before->key())) {
            platform::guarded([&] { giveBack(giveBackSeams(), *before); });
        }
    }
    std::vector<SavedSetting> previous;
    std::unordered_set<std::string> keysSeen;
    for (const auto& v : wanted.values) {
        if (keysSeen.insert(lowerText(v.path)).second) {
            for (auto& key : keysToCreate(RegRoot::CurrentUser, v.path)) previous.push_back(std::move(key));
        }
        SavedSetting s = setting(v);
        if (m_.journal.find(s.key())) continue;
        // A value of another type reads as missing: it is given back as missing.
        if (const auto value = m_.registry.readValue(RegRoot::CurrentUser, v.path, v.name)) {
            s.value = *value;
        } else {
            s.type = SavedSetting::Value::Absent;
        }
        previous.push_back(std::move(s));
    }
    m_.journal.remember(previous);
    std::size_t refused = 0;
    for (const auto& v : wanted.values) {
        const bool written = platform::guarded(
            [&] {
                return v.dword ? m_.registry.writeDword(RegRoot::CurrentUser, v.path, v.name,
                                                        static_cast<std::uint32_t>(std::stoul(v.value)))
                               : m_.registry.writeString(RegRoot::CurrentUser, v.path, v.name, v.value);
            },
            false);
        if (!written) ++refused;
    }
    // Once, not per value: a key the session may not write refuses them all.
    if (refused > 0) {
        platform::recordFailure("browser policies: values could not be written",
                                std::to_string(refused) + " of " + std::to_string(wanted.values.size()));
    }
    policies_ = wanted.values;
}

void MachineSettings::restoreStartButtonAndTaskbar() { m_.desktop.lockDesktop(false, false); }

void MachineSettings::disableFirefoxCloseTabsWarning() {
    core::disableFirefoxCloseTabsWarning(firefoxFolder_);
    // A session saved before this start would come back all the same.
    if (!clearFirefoxSession(m_.files, firefoxFolder_)) {
        platform::recordFailure("Firefox's saved session could not be deleted", firefoxFolder_);
    }
}

void MachineSettings::releaseKeyboardHook() { m_.desktop.releaseKeyboardHook(); }

std::string MachineSettings::defaultBrowser() {
    const auto read = [&](RegRoot root, const char* path, const char* name) {
        return m_.registry.readValue(root, path, name).value_or("");
    };
    std::string found = read(RegRoot::CurrentUser,
                             "SOFTWARE\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\https\\UserChoice",
                             "ProgId");
    for (const auto root : {RegRoot::CurrentUser, RegRoot::LocalMachine}) {
        if (found.empty()) found = read(root, "SOFTWARE\\Clients\\StartMenuInternet", "");
    }
    for (const auto root : {RegRoot::CurrentUser, RegRoot::LocalMachine}) {
        if (found.empty()) found = read(root, "Software\\Classes\\http\\shell\\open\\command", "");
    }
    const auto has = [&](std::initializer_list<const char*> parts) {
        for (const char* part : parts) {
            if (found.find(part) != std::string::npos) return true;
        }
        return false;
    };
    // Letter case as listed: "ChromeHTML" is none of these.
    if (has({"firefox", "Firefox"})) return "Firefox";
    if (has({"iexplore", "IExplore", "ie."})) return "IExplore";
    if (has({"opera", "Opera"})) return "Opera";
    if (has({"safari", "Safari"})) return "Safari";
    if (has({"chrome"})) return "GoogleChrome";
    return "Altro";
}

void MachineSettings::openWebPage(const std::string& address, bool fullScreen) {
    if (!fullScreen) {
        const std::string folder = m_.system.programFolder();
        m_.shell.open(address, folder.substr(0, 3), platform::kNormalFocus);
        return;
    }
    if (defaultBrowser() == "GoogleChrome") {
        m_.shell.run(m_.system.environment("USERPROFILE") + "\\AppData\\Local\\Google\\Chrome\\Application" +
                         "\\chrome.exe " + address + " --kiosk-printing --start-fullscreen",
                     platform::kNormalFocus);
        return;
    }
    // Both are tried whatever the first did: on a 64-bit system both may start.
    const std::string command = "\\internet explorer\\iexplore -k " + address;
    m_.shell.run(m_.system.environment("ProgramFiles") + command, kNormalNoFocus);
    m_.shell.run(m_.system.environment("PROGRAMFILES(X86)") + command, kNormalNoFocus);
}

void MachineSettings::tickLaunchHomePage(const ProfileSwitches& switches) {
    platform::KillProcess(m_.processes, platform::kMisspeltInternetExplorer);
    for (const char* browser : {"iexplore.exe", "chrome.exe", "firefox.exe"}) {
        platform::killUntilGone(m_.processes, m_.pump, browser);
    }
    const std::string page(trimBlanks(switches.homePage));
    if (!page.empty()) {
        if (homePageIsProgram(page)) {
            m_.shell.run(page, kMinimisedFocus);
        } else if (switches.fullScreen) {
            openWebPage(page, true);
            m_.desktop.fullScreen();
        } else {
            openWebPage(m_.registry.readValue(RegRoot::CurrentUser, kInternetExplorerMain, kStartPage).value_or(""),
                          false);
        }
    }
    applyTaskbarFlags(switches);
}

void MachineSettings::restoreSettings() {
    // Every step on its own, its failure ignored. A setting this run changed
    // goes back to the value the journal holds, which is the machine's own
    // from before the start: a value that did not exist is removed again, and
    // a download block the administrator had set stays.
    const auto journaled = [&](const SavedSetting& probe) -> const SavedSetting* {
        return m_.journal.find(probe.key());
    };
    const auto registryProbe = [](const char* path, const char* name) {
        return SavedSetting{SavedSetting::Kind::Registry, RegRoot::CurrentUser, path, name, {}, {}};
    };
    // What this run changed; the steps below may add records of their own
    // (the remembered printer made the default again), which are not undone.
    const std::vector<SavedSetting> changed = m_.journal.settings();
    std::vector<std::string> givenBack;
    const auto back = [&](const SavedSetting& s) {
        if (platform::guarded([&] { return giveBack(giveBackSeams(), s); }, false)) givenBack.push_back(s.key());
    };

    platform::guarded([&] {
        if (const auto* s = journaled({SavedSetting::Kind::DefaultPrinter, {}, {}, {}, {}, {}})) {
            back(*s);
        } else if (!printer_.empty() && printer_ != defaultPrinterName(m_.printers)) {
            setDefaultPrinter(printer_);
        }
    });
    platform::guarded([&] {
        if (const auto* s = journaled(registryProbe(kInternetExplorerMain, kStartPage))) {
            back(*s);
        } else if (startPage_) {
            m_.registry.writeString(RegRoot::CurrentUser, kInternetExplorerMain, kStartPage, *startPage_);
        }
    });
    platform::guarded([&] {
        if (const auto* s = journaled({SavedSetting::Kind::FirefoxHomePage, {}, firefoxFolder_, {}, {}, {}})) {
            back(*s);
        } else if (!firefoxHomePage_.empty() && firefoxHomePage_ != HomePageFirefox(firefoxFolder_)) {
            // Only a change: a home page written back unchanged would only grow the file.
            setFirefoxHomePage(firefoxFolder_, firefoxHomePage_);
        }
    });
    platform::guarded([&] {
        if (const auto* s = journaled(registryProbe(kZone3, kDownloadValue))) {
            back(*s);
        } else {
            m_.registry.writeDword(RegRoot::CurrentUser, kZone3, kDownloadValue, 0);
        }
    });
    platform::guarded([&] { m_.desktop.lockDesktop(false, false); });
    givenBack.push_back(SavedSetting{SavedSetting::Kind::Desktop, {}, {}, {}, {}, {}}.key());
    platform::guarded([&] {
        const int major = m_.system.windowsMajorVersion();
        const int minor = m_.system.windowsMinorVersion();
        if ((major > 5 && minor > 1) || major >= 7) m_.desktop.restartShell();
    });

    // The rest of what this run changed, the keys it created last; then the
    // journal goes, unless something could not be given back: the next
    // start tries that one again.
    std::vector<SavedSetting> kept;
    const auto rest = giveBackInOrder(giveBackSeams(), changed, [&](const SavedSetting& s) {
        return std::find(givenBack.begin(), givenBack.end(), s.key()) != givenBack.end();
    });
    for (const auto& given : rest) {
        if (!given.done) kept.push_back(given.setting);
    }
    platform::guarded([&] { m_.journal.reset(std::move(kept)); });
    givenBack_ = true;
}

}  // namespace ombrix::core
