#pragma once
// A scripted machine for the enforcement: browsers whose address changes as
// Ctrl+W is pressed (or not), processes that outlive their termination,
// the fake desktop, a recording keyboard, shell windows, a clock, an event
// pump that may run other code, and a host that records notices and pages.
// Every call lands in one journal, so tests can check the order across fakes.

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/database.h"
#include "enforce/enforcement.h"
#include "enforce/enforcement_host.h"
#include "fakes/fake_controller.h"
#include "fakes/fake_desktop.h"
#include "fakes/fixtures.h"
#include "support/language.h"
#include "platform/text.h"

namespace ombrix::test {

class FakeBrowsers final : public platform::BrowserAddresses, public platform::ShellBrowserWindows {
public:
    struct Browser {
        std::string image;
        std::string address;  // what its reader returns while it runs
        // What each Ctrl+W leaves on screen, in turn; when none is left the
        // page survives the close.
        std::deque<std::string> afterClose;
    };
    FakeBrowsers(FakeProcesses& processes, Journal& journal) : processes_(processes), journal_(journal) {}

    Browser chrome{"chrome.exe", {}, {}};
    Browser edge{"msedge.exe", {}, {}};
    Browser firefox{"firefox.exe", {}, {}};
    std::string shellList;                            // shellWindowAddresses
    std::vector<platform::ShellBrowserWindow> shell;  // the ShellWindows collection

    // Starts a browser's process showing an address.
    void open(Browser& b, std::string address, int survivesKills = 0) {
        b.address = std::move(address);
        processes_.start(b.image, survivesKills);
    }

    std::string readChromeAddress() override { return read(chrome); }
    std::string readEdgeAddress() override { return read(edge); }
    std::string readFirefoxAddress() override { return read(firefox); }
    std::string shellWindowAddresses() override { return shellList; }

    // Browsers found by what they show; reported while their process runs.
    struct Other {
        platform::OtherBrowser found;
        Browser browser;
    };
    std::deque<Other> others;
    Browser& openOther(platform::OtherBrowser found, std::string address) {
        others.push_back({found, {found.image, {}, {}}});
        open(others.back().browser, std::move(address));
        return others.back().browser;
    }
    std::vector<platform::OtherBrowser> otherBrowsers() override {
        std::vector<platform::OtherBrowser> out;
        for (auto& o : others) {
            if (runs(o.browser)) out.push_back(o.found);
        }
        return out;
    }
    std::string readOtherAddress(std::string_view image) override {
        const auto o = std::find_if(others.begin(), others.end(), [&](const Other& x) { return x.found.image == image; });
        return o == others.end() ? std::string() : read(o->browser);
    }
    std::vector<platform::ShellBrowserWindow> windows() override { return shell; }
    void goBack(std::size_t index) override { journal_.add("back " + std::to_string(index)); }

    // Ctrl+W reaches the browser read last, as the one in front.
    void pressCtrlW() {
        if (foreground_ == nullptr) return;
        journal_.add("ctrl+w " + foreground_->image);
        if (!foreground_->afterClose.empty()) {
            foreground_->address = foreground_->afterClose.front();
            foreground_->afterClose.pop_front();
        }
    }

private:
    bool runs(const Browser& b) const {
        const auto& running = processes_.running;
        return std::any_of(running.begin(), running.end(), [&](const auto& p) { return p.name == b.image; });
    }
    std::string read(Browser& b) {
        journal_.add("read " + b.image);
        foreground_ = &b;
        return runs(b) ? b.address : std::string();
    }

    FakeProcesses& processes_;
    Journal& journal_;
    Browser* foreground_ = nullptr;
};

class FakeKeyboard final : public platform::KeyboardInput {
public:
    std::vector<std::pair<int, std::uint32_t>> events;
    std::function<void()> onCtrlW;

    void keyEvent(std::uint8_t vk, std::uint32_t flags) override {
        events.emplace_back(vk, flags);
        const bool up = (flags & platform::kKeyUp) != 0;
        if (vk == 17) control_ = !up;
        if (vk == 87 && !up && control_ && onCtrlW) onCtrlW();
    }

private:
    bool control_ = false;
};

class FakeClock final : public platform::Clock {
public:
    platform::LocalTime time{2024, 3, 5, 14, 7, 9};
    std::uint64_t ms = 1000;
    platform::LocalTime now() override { return time; }
    std::uint64_t tickMilliseconds() override { return ms; }
};

class FakeHost final : public enforce::EnforcementHost {
public:
    explicit FakeHost(Journal& j) : journal_(j) {}
    struct Notice {
        std::string text;
        int kind;
    };
    std::vector<Notice> notices;
    [[nodiscard]] std::vector<std::string> noticeTexts() const {
        std::vector<std::string> out;
        for (const auto& n : notices) out.push_back(n.text);
        return out;
    }
    std::vector<std::string> opened;
    bool schedule = false;
    long long profile = 0;
    bool log = false;
    int internalWindows = 0;
    std::vector<std::string> internalAddresses;

    void showMessage(const std::string& text, int kind) override {
        notices.push_back({text, kind});
        journal_.add("notice " + text);
    }
    void openPage(const std::string& address) override {
        opened.push_back(address);
        journal_.add("open " + address);
    }
    void launchStartPage() override { journal_.add("start page"); }
    void clearFirefoxSession() override { journal_.add("clear firefox session"); }
    bool timeSlotScheduleInForce() override { return schedule; }
    long long profileInUse() override { return profile; }
    bool logSwitch() override { return log; }
    void keepNoticeWindowsOnTop() override { journal_.add("notices on top"); }
    std::vector<std::string> storeErrors;
    void storeUnreadable(const std::string& message) override { storeErrors.push_back(message); }
    int internalBrowserWindowCount() override { return internalWindows; }
    void openInternalBrowser() override {
        ++internalWindows;
        journal_.add("internal browser");
    }
    std::vector<std::string> internalBrowserAddresses() override { return internalAddresses; }

private:
    Journal& journal_;
};

// The numbered language file, so that a notice reads "T<id> <detail>".
std::string writeEnforcementLanguage(const TempDir& dir);

// The machine, the store (the delivered schema in memory) and the enforcement.
struct EnforcementRig {
    EnforcementRig();

    // A profile with its list mode and lists; returns its identifier.
    long long addProfile(long long id, bool forbiddenList, const std::vector<std::string>& sites,
                         const std::vector<std::string>& processes = {}, const std::vector<std::string>& titles = {});
    // Puts a profile in use as the controller does: switches, then the three loaders.
    void use(long long id, core::ProfileSwitches switches = {});
    // The visited-sites log file, oldest first.
    [[nodiscard]] std::vector<std::string> loggedUrls();
    // Journal entries that begin with `prefix`, in order.
    [[nodiscard]] std::vector<std::string> entries(const std::string& prefix) const;

    Journal journal;
    TempDir dir;
    Language language;
    core::Database db;
    FakeTimers timers{journal};
    FakeProcesses processes{journal};
    FakePump pump;
    FakeDesktop windows{&journal};
    FakeKeyboard keyboard;
    FakeBrowsers browsers{processes, journal};
    FakeClock clock;
    FakeHost host{journal};
    // The log file in `dir`, filled from `db` when new.
    enforce::VisitedSitesLog log;
    std::unique_ptr<enforce::Enforcement> enforcement;
};

}  // namespace ombrix::test
