#pragma once
// Fakes around the controller: a view and lists that record what they are asked, timers, processes that can refuse to die.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>

#include "core/controller.h"

namespace ombrix::test {

// Every call lands in one journal, so tests can check the order across fakes.
struct Journal {
    std::vector<std::string> entries;
    void add(std::string entry) { entries.push_back(std::move(entry)); }
    [[nodiscard]] int count(const std::string& e) const { return static_cast<int>(std::ranges::count(entries, e)); }
    // Index of the first entry equal to `entry` at or after `from`; -1 when none.
    [[nodiscard]] int find(const std::string& entry, int from = 0) const {
        const auto it = std::find(entries.begin() + std::min<std::size_t>(from, entries.size()), entries.end(), entry);
        return it == entries.end() ? -1 : static_cast<int>(it - entries.begin());
    }
    // Whether `steps` were all recorded in this order, other entries between.
    [[nodiscard]] ::testing::AssertionResult inOrder(const std::vector<std::string>& steps) const {
        int at = 0;
        for (const auto& step : steps) if ((at = find(step, at) + 1) == 0) return ::testing::AssertionFailure() << "missing: " << step;
        return ::testing::AssertionSuccess();
    }
};

// A fake that writes what it is asked into the shared journal; note() is true, for calls that report success.
struct Journaled {
    explicit Journaled(Journal& j) : journal_(j) {}
    bool note(std::string entry) { return journal_.add(std::move(entry)), true; }
    Journal& journal_;
};

struct FakeTimers final : core::Timers, Journaled {
    using Journaled::Journaled;
    std::map<core::TimerId, bool> on_;
    void setEnabled(core::TimerId id, bool on) override {
        note(std::string(core::timerEntry(id).name) + ((on_[id] = on) ? " on" : " off"));
    }
    bool isEnabled(core::TimerId id) const override { return on_.contains(id) && on_.at(id); }
};

struct FakeProcesses final : platform::Processes, Journaled {
    using Journaled::Journaled;
    struct Proc {
        std::uint32_t id;
        std::string name;
        int survivesKills = 0;                        // how many terminate calls it outlives; -1: forever
        std::vector<std::string> originalNames = {};  // its version resource's names
        std::uint64_t startTime = 0;                  // tells apart two processes given the same id
    };
    std::vector<Proc> running;
    std::uint32_t nextId = 100;
    int nameReads = 0;  // executables opened for their names
    void start(const std::string& name, int survives = 0) { running.push_back({nextId++, name, survives}); }
    // A program whose file was renamed: it still calls itself `original` inside.
    void startRenamed(const std::string& name, const std::string& inside, int survives = 0) {
        running.push_back({nextId++, name, survives, {inside}});
    }
    std::vector<platform::ProcessEntry> snapshot() override {
        std::vector<platform::ProcessEntry> out;
        for (const auto& p : running) out.push_back({p.id, p.name, p.startTime});
        return out;
    }
    std::vector<std::string> originalNames(const platform::ProcessEntry& e) override {
        const auto p = std::ranges::find_if(running, [&](auto& q) { return q.id == e.id && q.startTime == e.startTime; });
        return ++nameReads, p == running.end() ? std::vector<std::string>{} : p->originalNames;
    }
    bool terminate(std::uint32_t id) override {
        const auto p = std::ranges::find_if(running, [&](const Proc& q) { return q.id == id; });
        if (p == running.end()) return false;
        note("kill " + p->name);
        if (p->survivesKills == 0) running.erase(p);
        else if (p->survivesKills > 0) --p->survivesKills;
        return true;
    }
};

// Runs `during` (once per call) to play other timers ticking inside a handler.
struct FakePump final : platform::EventPump {
    std::function<void()> during;
    void doEvents() override { if (during) during(); }
};

struct FakeInstance final : platform::InstanceGuard {
    bool other = false;
    bool anotherInstanceRunning() override { return other; }
};

struct FakeView final : core::MainView, Journaled {
    using Journaled::Journaled;
    std::vector<core::ProfileItem> profiles;
    int selected = -2;
    bool admin = false, autostartChecked = false, keyboardChecked = false;
    std::string taskManagerCaption, timeSlotsCaption, policyText;
    std::optional<bool> timeSlotsOn;  // cmdPeriodi's state, once shown
    std::vector<std::pair<std::string, std::string>> notices;
    core::PolicyLockedControls policyLocked;
    std::function<void()> whileOptionsOpen;  // runs while the options form is open, as its modal loop would
    void applyIconAndLanguage() override { note("view language"); }
    void showSplash() override { note("view splash"); }
    void showTrayIcon() override { note("view tray icon"); }
    void keepNoticeOnTop() override { note("view notice on top"); }
    void closeSplashSoon() override { note("view splash closes"); }
    void fillProfiles(const std::vector<core::ProfileItem>& p, int s) override { profiles = p, selected = s, note("view profiles"); }
    void hideOwnerWindow() override { note("view hide owner"); }
    void minimise() override { note("view minimise"); }
    void setTopmost(bool t) override { note(t ? "view topmost" : "view not topmost"); }
    void setAdministratorMode(bool u) override { note((admin = u) ? "view unlocked" : "view locked"); }
    void clearPassword() override { note("view clear password"); }
    void setAutostartChecked(bool c) override { autostartChecked = c; }
    void setVirtualKeyboardChecked(bool c) override { keyboardChecked = c; }
    void setTaskManagerCaption(const std::string& c) override { taskManagerCaption = c; }
    void showPolicyLocks(const core::PolicyLockedControls& l, const std::string& t) override { policyLocked = l, policyText = t; }
    void showTimeSlots(bool on, const std::string& c) override { timeSlotsOn = on, timeSlotsCaption = c; }
    bool openOptions() override { note("view options"); if (whileOptionsOpen) whileOptionsOpen(); return false; }
    void noticesWaiting() override { note("view notices waiting"); }
    void showAndFocusPassword() override { note("view show"); }
    void showNotice(const std::string& text, const std::string& head) override { notices.emplace_back(text, head); }
    void showClosingNotice() override { note("view closing notice"); }
    void setClosingNoticeTopmost() override { note("view closing notice topmost"); }
    void unloadOtherForms() override { note("view unload forms"); }
    void endProgram() override { note("view end"); }
};

struct FakeLists final : core::ProfileLists, Journaled {
    using Journaled::Journaled;
    std::function<void()> onLoadSites;  // runs inside the site loader, as one that finds the store unreadable
    void setProfile(long long id, const core::ProfileSwitches&) override { note("lists profile " + std::to_string(id)); }
    void loadSites(long long id) override { note("load sites " + std::to_string(id)); if (onLoadSites) onLoadSites(); }
    void loadForbiddenProcesses() override { note("load processes"); }
    void loadForbiddenWindows() override { note("load windows"); }
    void forgetLastAddress() override { note("forget last address"); }
    void clearInternalBrowser() override { note("clear internal browser"); }
    void liftForShutdown() override { note("lift for shutdown"); }
};

}  // namespace ombrix::test
