#pragma once
// Browsers known by what they show, whatever their file is called. A process
// is a browser when one of its visible top-level windows of the Chromium
// class holds an address bar (the field Chromium names as the Chrome and
// Edge readers know it), or one of the Gecko class holds a URL bar (named
// as the Firefox reader knows it, or by its automation id where UI
// Automation is there). Programs built on Chromium without an address bar
// (editors, chat programs) are not browsers and are left alone.
//
// Each process is searched once, and again when its windows change: a
// search walks another process's element tree, which is what costs. Only
// while its windows are new (kSettleMs) is a process without a bar searched
// at every pass, since a browser builds its tool bar after showing its
// window. The windows themselves are looked at every kPassMs, by class, so
// a desktop without such windows costs two lookups a pass.
//
// A process whose bar is not found is still reported when its name (the
// file's, or one its version resource keeps) is a browser's we know: its
// address cannot be read, and the site timer decides what becomes of it.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/accessibility.h"
#include "platform/browsers.h"
#include "platform/clock.h"
#include "platform/processes.h"
#include "platform/windows.h"

namespace ombrix::enforce {

inline constexpr std::string_view kGeckoWindowClass = "MozillaWindowClass";

// True for the file names of the Chromium and Gecko browsers we know,
// letter case ignored.
[[nodiscard]] bool knownBrowserName(std::string_view fileName);

class BrowserFinder {
public:
    static constexpr std::uint64_t kPassMs = 500;
    static constexpr std::uint64_t kSettleMs = 3000;

    BrowserFinder(platform::Processes& processes, platform::WindowSystem& windows,
                  platform::Accessibility& accessibility, platform::Clock& clock);

    // One entry per image name, in the order their windows were found.
    [[nodiscard]] std::vector<platform::OtherBrowser> browsers() noexcept;
    // What the bar of that image's browser shows: lowered and completed as
    // Chrome's (Chromium), trimmed as Firefox's (Gecko); "" while the user
    // types in it, and when it cannot be read.
    [[nodiscard]] std::string readAddress(std::string_view image) noexcept;

    // Searches made so far, for tests and measuring.
    [[nodiscard]] std::uint64_t searches() const noexcept { return searches_; }

private:
    struct Seen {
        std::uint32_t pid = 0;
        bool gecko = false;
        std::vector<platform::WindowId> windows;  // visible, front first
    };
    struct Process {
        std::uint32_t pid = 0;
        std::uint64_t startTime = 0;
        std::string image;
        std::string label;
        bool knownName = false;
        bool gecko = false;
        std::vector<platform::WindowId> windows;
        std::uint64_t changedAt = 0;
        bool decided = false;
        std::unique_ptr<platform::AccessibleElement> bar;
    };

    void pass();
    [[nodiscard]] std::vector<Seen> windowsByProcess();
    void decide(Process& process);
    [[nodiscard]] std::vector<platform::AccessibleQuery> queries(bool gecko);

    platform::Processes& processes_;
    platform::WindowSystem& windows_;
    platform::Accessibility& accessibility_;
    platform::Clock& clock_;
    std::vector<Process> known_;
    std::uint64_t lastPass_ = 0;
    bool passed_ = false;
    bool busy_ = false;  // a search lets messages in, and with them a timer that asks again
    std::uint64_t searches_ = 0;
};

}  // namespace ombrix::enforce
