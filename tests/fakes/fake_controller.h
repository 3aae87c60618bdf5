#pragma once
// Fakes around the controller: a view and lists that record what they are
// asked, timers, processes that can refuse to die, an event pump.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/controller.h"

namespace ombrix::test {

// Every call lands in one journal, so tests can check the order across fakes.
struct Journal {
    std::vector<std::string> entries;
    void add(std::string entry) { entries.push_back(std::move(entry)); }
    [[nodiscard]] int count(const std::string& entry) const {
        int n = 0;
        for (const auto& e : entries) n += e == entry ? 1 : 0;
        return n;
    }
    // Index of the first entry equal to `entry` at or after `from`; -1 when none.
    [[nodiscard]] int find(const std::string& entry, int from = 0) const {
        for (std::size_t i = static_cast<std::size_t>(from); i < entries.size(); ++i) {
            if (entries[i] == entry) return static_cast<int>(i);
        }
        return -1;
    }
    // Whether `steps` were all recorded in this order, other entries between.
    [[nodiscard]] ::testing::AssertionResult inOrder(const std::vector<std::string>& steps) const {
        int at = 0;
        for (const auto& step : steps) {
            const int found = find(step, at);
            if (found < 0) return ::testing::AssertionFailure() << "missing or out of order: " << step;
            at = found + 1;
        }
        return ::testing::AssertionSuccess();
    }
};

class FakeTimers final : public core::Timers {
public:
    explicit FakeTimers(Journal& j) : journal_(j) {}
    void setEnabled(core::TimerId id, bool enabled) override {
        on_[id] = enabled;
        journal_.add(std::string(core::timerEntry(id).name) + (enabled ? " on" : " off"));
    }
    bool isEnabled(core::TimerId id) const override { return on_.count(id) > 0 && on_.at(id); }

private:
    Journal& journal_;
    std::map<core::TimerId, bool> on_;
};

class FakeProcesses final : public platform::Processes {
public:
    explicit FakeProcesses(Journal& j) : journal_(j) {}
    struct Proc {
        std::uint32_t id;
        std::string name;
        int survivesKills = 0;  // how many terminate calls it outlives; -1: forever
        std::vector<std::string> originalNames = {};  // its version resource's names
        std::uint64_t startTime = 0;
    };
    std::vector<Proc> running;
    std::uint32_t nextId = 100;
    int nameReads = 0;  // executables opened for their names

    void start(const std::string& name, int survives = 0) { running.push_back({nextId++, name, survives}); }
    // A program whose file was renamed: it still calls itself `original` inside.
    void startRenamed(const std::string& name, const std::string& original, int survives = 0) {
        running.push_back({nextId++, name, survives, {original}});
    }
    std::vector<platform::ProcessEntry> snapshot() override {
        std::vector<platform::ProcessEntry> out;
        for (const auto& p : running) out.push_back({p.id, p.name, p.startTime});
        return out;
    }
    std::vector<std::string> originalNames(const platform::ProcessEntry& entry) override {
        ++nameReads;
        for (const auto& p : running) {
            if (p.id == entry.id && p.startTime == entry.startTime) return p.originalNames;
        }
        return {};
    }
    bool terminate(std::uint32_t id) override {
        const auto it = std::find_if(running.begin(), running.end(), [&](const Proc& p) { return p.id == id; });
        if (it == running.end()) return false;
        journal_.add("kill " + it->name);
        if (it->survivesKills == 0) {
            running.erase(it);
        } else if (it->survivesKills > 0) {
            --it->survivesKills;
        }
        return true;
    }

private:
    Journal& journal_;
};

// Runs `during` (once per call) to play other timers ticking inside a handler.
class FakePump final : public platform::EventPump {
public:
    std::function<void()> during;
    void doEvents() override {
        if (during) during();
    }
};

class FakeInstance final : public platform::InstanceGuard {
public:
    bool other = false;
    bool anotherInstanceRunning() override { return other; }
};

class FakeView final : public core::MainView {
public:
    explicit FakeView(Journal& j) : journal_(j) {}
    std::vector<core::ProfileItem> profiles;
    int selected = -2;
    bool admin = false;
    bool autostartChecked = false;
    bool keyboardChecked = false;
    std::string taskManagerCaption;
    std::optional<bool> timeSlotsOn;  // cmdPeriodi's state, once shown
    std::string timeSlotsCaption;
    std::vector<std::pair<std::string, std::string>> notices;
    core::PolicyLockedControls policyLocked;
    std::string policyText;

    void applyIconAndLanguage() override { journal_.add("view language"); }
    void showSplash() override { journal_.add("view splash"); }
    void showTrayIcon() override { journal_.add("view tray icon"); }
    void keepNoticeOnTop() override { journal_.add("view notice on top"); }
    void closeSplashSoon() override { journal_.add("view splash closes"); }
    void fillProfiles(const std::vector<core::ProfileItem>& p, int s) override {
        profiles = p;
        selected = s;
        journal_.add("view profiles");
    }
    void hideOwnerWindow() override { journal_.add("view hide owner"); }
    void minimise() override { journal_.add("view minimise"); }
    void setTopmost(bool t) override { journal_.add(t ? "view topmost" : "view not topmost"); }
    void setAdministratorMode(bool u) override {
        admin = u;
        journal_.add(u ? "view unlocked" : "view locked");
    }
    void clearPassword() override { journal_.add("view clear password"); }
    void setAutostartChecked(bool c) override { autostartChecked = c; }
    void setVirtualKeyboardChecked(bool c) override { keyboardChecked = c; }
    void setTaskManagerCaption(const std::string& c) override { taskManagerCaption = c; }
    void showPolicyLocks(const core::PolicyLockedControls& l, const std::string& t) override {
        policyLocked = l;
        policyText = t;
    }
    void showTimeSlots(bool on, const std::string& caption) override {
        timeSlotsOn = on;
        timeSlotsCaption = caption;
    }
    bool openOptions() override {
        journal_.add("view options");
        if (whileOptionsOpen) whileOptionsOpen();
        return false;
    }
    // Runs while the options form is open, as its modal loop would.
    std::function<void()> whileOptionsOpen;
    void noticesWaiting() override { journal_.add("view notices waiting"); }
    void showAndFocusPassword() override { journal_.add("view show"); }
    void showNotice(const std::string& text, const std::string& heading) override {
        notices.emplace_back(text, heading);
    }
    void showClosingNotice() override { journal_.add("view closing notice"); }
    void setClosingNoticeTopmost() override { journal_.add("view closing notice topmost"); }
    void unloadOtherForms() override { journal_.add("view unload forms"); }
    void endProgram() override { journal_.add("view end"); }

private:
    Journal& journal_;
};

class FakeLists final : public core::ProfileLists {
public:
    explicit FakeLists(Journal& j) : journal_(j) {}
    void setProfile(long long id, const core::ProfileSwitches&) override {
        journal_.add("lists profile " + std::to_string(id));
    }
    void loadSites(long long id) override {
        journal_.add("load sites " + std::to_string(id));
        if (onLoadSites) onLoadSites();
    }
    // Runs inside the site loader (one that finds the store unreadable tells the controller).
    std::function<void()> onLoadSites;
    void loadForbiddenProcesses() override { journal_.add("load processes"); }
    void loadForbiddenWindows() override { journal_.add("load windows"); }
    void forgetLastAddress() override { journal_.add("forget last address"); }
    void clearInternalBrowser() override { journal_.add("clear internal browser"); }
    void liftForShutdown() override { journal_.add("lift for shutdown"); }

private:
    Journal& journal_;
};

}  // namespace ombrix::test
