#pragma once
// A scripted machine for the enforcement: browsers whose address changes as Ctrl+W is pressed (or not),
// a recording keyboard, a clock, and a host that records notices and pages, all into one journal.
#include <deque>
#include <ranges>

#include "core/store.h"
#include "enforce/enforcement.h"
#include "enforce/enforcement_host.h"
#include "fakes/fake_desktop.h"
#include "fakes/fixtures.h"
#include "platform/files.h"
#include "platform/system.h"
#include "support/language.h"

namespace ombrix::test {

class FakeBrowsers final : public platform::BrowserAddresses, public platform::ShellBrowserWindows, Journaled {
public:
    struct Browser {
        std::string image, address;  // address: what its reader returns while it runs
        std::deque<std::string> afterClose;  // what each Ctrl+W leaves, in turn; none left: the page survives
    };
    FakeBrowsers(FakeProcesses& processes, Journal& journal) : Journaled(journal), processes_(processes) {}
    Browser chrome{"chrome.exe", {}, {}}, edge{"msedge.exe", {}, {}}, firefox{"firefox.exe", {}, {}};
    std::string shellList;                            // shellWindowAddresses
    std::vector<platform::ShellBrowserWindow> shell;  // the ShellWindows collection
    // Starts a browser's process showing an address.
    void open(Browser& b, std::string address, int survives = 0) { b.address = std::move(address), processes_.start(b.image, survives); }
    // A browser found by what it shows; reported while its process runs.
    Browser& openOther(platform::OtherBrowser found, std::string address) {
        others_.push_back({found, {found.image, {}, {}}});
        open(others_.back().second, std::move(address));
        return others_.back().second;
    }
    std::string readChromeAddress() override { return read(chrome); }
    std::string readEdgeAddress() override { return read(edge); }
    std::string readFirefoxAddress() override { return read(firefox); }
    std::string shellWindowAddresses() override { return shellList; }
    std::vector<platform::OtherBrowser> otherBrowsers() override {
        std::vector<platform::OtherBrowser> out;
        for (auto& [found, browser] : others_) if (runs(browser)) out.push_back(found);
        return out;
    }
    std::string readOtherAddress(std::string_view image) override {
        const auto o = std::ranges::find_if(others_, [&](auto& x) { return x.first.image == image; });
        return o == others_.end() ? std::string() : read(o->second);
    }
    std::vector<platform::ShellBrowserWindow> windows() override { return shell; }
    void goBack(std::size_t index) override { note("back " + std::to_string(index)); }
    // Ctrl+W reaches the browser read last, as the one in front.
    void pressCtrlW() {
        if (foreground_ == nullptr) return;
        note("ctrl+w " + foreground_->image);
        if (auto& next = foreground_->afterClose; !next.empty()) foreground_->address = next.front(), next.pop_front();
    }
private:
    bool runs(const Browser& b) const { return std::ranges::any_of(processes_.running, [&](auto& p) { return p.name == b.image; }); }
    std::string read(Browser& b) { return note("read " + b.image), foreground_ = &b, runs(b) ? b.address : std::string(); }
    FakeProcesses& processes_;
    Browser* foreground_ = nullptr;
    std::deque<std::pair<platform::OtherBrowser, Browser>> others_;  // a deque keeps the returned references
};

struct FakeKeyboard final : platform::KeyboardInput {
    std::function<void()> onCtrlW;
    bool control_ = false;
    void keyEvent(std::uint8_t vk, std::uint32_t flags) override {
        const bool up = (flags & platform::kKeyUp) != 0;
        if (vk == 17) control_ = !up;
        if (vk == 87 && !up && control_ && onCtrlW) onCtrlW();
    }
};

struct FakeClock final : platform::Clock {
    platform::LocalTime time{2024, 3, 5, 14, 7, 9};
    std::uint64_t ms = 1000;
    platform::LocalTime now() override { return time; }
    std::uint64_t tickMilliseconds() override { return ms; }
};

struct FakeHost final : enforce::EnforcementHost, Journaled {
    using Journaled::Journaled;
    struct Notice { std::string text; int kind; };
    std::vector<Notice> notices;
    std::vector<std::string> opened, storeErrors, internalAddresses;
    bool schedule = false, log = false;
    long long profile = 0;
    int internalWindows = 0;
    [[nodiscard]] std::vector<std::string> noticeTexts() const {
        std::vector<std::string> out;
        for (const auto& n : notices) out.push_back(n.text);
        return out;
    }
    void showMessage(const std::string& text, int kind) override { notices.push_back({text, kind}), note("notice " + text); }
    void openPage(const std::string& address) override { opened.push_back(address), note("open " + address); }
    void launchStartPage() override { note("start page"); }
    void clearFirefoxSession() override { note("clear firefox session"); }
    bool timeSlotScheduleInForce() override { return schedule; }
    long long profileInUse() override { return profile; }
    bool logSwitch() override { return log; }
    void keepNoticeWindowsOnTop() override { note("notices on top"); }
    void storeUnreadable(const std::string& message) override { storeErrors.push_back(message); }
    int internalBrowserWindowCount() override { return internalWindows; }
    void openInternalBrowser() override { note("internal browser"), ++internalWindows; }
    std::vector<std::string> internalBrowserAddresses() override { return internalAddresses; }
};

// Switches with one member set, as switches(&core::ProfileSwitches::kiosk, true).
template <class T>
core::ProfileSwitches switches(T core::ProfileSwitches::*member, T value) {
    core::ProfileSwitches s;
    s.*member = std::move(value);
    return s;
}

// The machine, the store (the delivered schema in memory) and the enforcement;
// the language is the numbered one, so that a notice reads "T<id> <detail>".
struct EnforcementRig {
    EnforcementRig() { keyboard.onCtrlW = [this] { browsers.pressCtrlW(); }; }
    // A profile with its list mode and lists; returns its identifier.
    long long addProfile(long long id, bool forbiddenList, const std::vector<std::string>& sites,
                         const std::vector<std::string>& processNames = {}, const std::vector<std::string>& titles = {}) {
        const core::Value key(std::int64_t{id});
        EXPECT_TRUE(db.run("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (?, ?, ?);",
                           {key, core::Value("Profilo " + std::to_string(id)), core::Value::boolean(forbiddenList)}));
        const auto insert = [&](const char* into, const std::vector<std::string>& values) {
            for (const auto& v : values) EXPECT_TRUE(db.run(std::string("INSERT INTO ") + into + " VALUES (?, ?);", {key, core::Value(v)}));
        };
        insert("SitiVietatiConsentiti (IDProfilo, Sito)", sites);
        insert("ProcessiVietati (IDProfilo, Processo)", processNames);
        insert("NomiFinestreVietate (IDProfilo, NomeFinestra)", titles);
        return id;
    }
    // Puts a profile in use as the controller does: switches, then the three loaders.
    void use(long long id, core::ProfileSwitches switches = {}) {
        host.profile = id;
        enforcement->setProfile(id, switches);
        enforcement->loadSites(id);
        enforcement->loadForbiddenProcesses();
        enforcement->loadForbiddenWindows();
    }
    // The visited-sites log file, oldest first.
    [[nodiscard]] std::vector<std::string> loggedUrls() {
        core::Database* file = log.connection();
        EXPECT_NE(file, nullptr) << log.opening().detail();
        if (file == nullptr) return {};
        std::vector<std::string> urls;
        for (core::Statement q = file->prepare("SELECT URL FROM LogSiti ORDER BY rowid;"); q.step();) {
            urls.push_back(q.column(0).toText());
        }
        return urls;
    }
    // Journal entries that begin with `prefix`, in order.
    [[nodiscard]] std::vector<std::string> entries(const std::string& prefix) const {
        auto begins = journal.entries | std::views::filter([&](auto& e) { return e.starts_with(prefix); });
        return {begins.begin(), begins.end()};
    }
    Journal journal;
    TempDir dir;
    Language language{writeLanguage(dir, numberedTexts()), platform::pathSeparator()};
    core::Database db = deliveredStore();
    FakeTimers timers{journal};
    FakeProcesses processes{journal};
    FakePump pump;
    FakeDesktop windows{&journal};
    FakeKeyboard keyboard;
    FakeBrowsers browsers{processes, journal};
    FakeClock clock;
    FakeHost host{journal};
    // The log file in `dir`, filled from `db` when new.
    enforce::VisitedSitesLog log{platform::realFileSystem(), clock, db, [this] { return pathToUtf8(dir.path()); },
                                 platform::pathSeparator()};
    std::unique_ptr<enforce::Enforcement> enforcement = std::make_unique<enforce::Enforcement>(
        enforce::Enforcement::Machine{db, language, processes, windows, keyboard, browsers, browsers, clock, pump,
                                      timers, host, log});
};

}  // namespace ombrix::test
