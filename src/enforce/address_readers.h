#pragma once
// Reading the address each external browser shows, through the accessibility
// layer, for the enforcement timers. Every reader returns "" when the browser
// is not running, its address bar cannot be found or read, or the user is
// typing in it: a half-typed address is never judged.
//
// The readers run on every 50 ms tick, and walking a browser's accessibility
// tree is what makes such tools slow browsers down. So the address-bar element
// found in a window is kept between ticks while that window is where a new
// search would find it: the window a search starts from, or for a search from
// the desktop the first window holding a match, the windows in front of it
// being searched again unless their own address bar is known (a window has
// one, so a search there that missed after it was found keeps missing). A
// kept element that no longer answers is searched for again in the same read.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/accessibility.h"
#include "platform/processes.h"
#include "platform/windows.h"

namespace ombrix::enforce {

// The values of the readers' language setting.
inline constexpr std::string_view kItalian = "Italiano";
inline constexpr std::string_view kEnglish = "Inglese";
inline constexpr std::string_view kSpanish = "Spagnolo";
inline constexpr std::string_view kFrench = "Francese";
inline constexpr std::string_view kGerman = "Tedesco";

// The first value of the language setting for a Windows LANGID: one of the
// five languages, or "" for any other (the readers then use Italian names).
[[nodiscard]] std::string languageSettingFor(std::uint16_t langId);

// The class of Chrome's and Edge's top-level windows; the first one is a
// hidden helper, the address bar is in the second.
inline constexpr std::string_view kChromiumWindowClass = "Chrome_WidgetWin_1";

enum class Browser { Chrome, Edge, Firefox };

// What the first attempt searches for in the browser's second window
// (Chrome, Edge).
[[nodiscard]] platform::AccessibleQuery firstAttemptQuery(Browser browser);

// The localized search: the query chosen by the language setting, and the
// setting it writes back (the language whose name it used).
struct LocalizedQuery {
    platform::AccessibleQuery query;
    std::string_view language;
};
[[nodiscard]] LocalizedQuery localizedQuery(Browser browser, std::string_view languageSetting);

// The browsers hide the scheme of ordinary pages: an address (already lowered)
// that begins neither with "http", nor with the browser's own scheme
// ("chrome" or "edge"), nor with "about:" gets "http://" in front.
[[nodiscard]] std::string completeScheme(std::string_view lowered, Browser browser);

// The shell's browser windows as "1§<address>|2§<address>|...": only
// addresses beginning with "http" or "ftp" count, and they are numbered from 1.
[[nodiscard]] std::string shellWindowAddresses(const std::vector<std::string>& addresses);

// The address of the last window in such a list ("" when none).
[[nodiscard]] std::string lastShellAddress(std::string_view list);

class AddressReaders {
public:
    // The language setting starts from the user's interface language.
    AddressReaders(platform::Processes& processes, platform::WindowSystem& windows,
                   platform::Accessibility& accessibility);

    // A read asked for while another is under way answers "": a search
    // crosses into the browser's process, and the call that carries it lets
    // the program's messages in, with them a timer that reads again.
    [[nodiscard]] std::string readChromeAddress() noexcept;
    [[nodiscard]] std::string readEdgeAddress() noexcept;
    [[nodiscard]] std::string readFirefoxAddress() noexcept;

    // "Italiano", "Inglese", "Spagnolo", "Francese", "Tedesco" or "".
    [[nodiscard]] const std::string& languageSetting() const noexcept { return language_; }
    void setLanguageSetting(std::string language) { language_ = std::move(language); }

    // Off: every read searches afresh (for measuring, and to compare against).
    void setCaching(bool on) noexcept;

private:
    // What one look at an element gave.
    struct Look {
        std::string value;
        bool focused = false;
    };
    // A search inside one window (the first attempt).
    struct WindowSlot {
        platform::WindowId window = 0;
        platform::AccessibleQuery query;
        std::unique_ptr<platform::AccessibleElement> element;
    };
    // A search from the desktop (Firefox, and the localized attempt).
    struct DesktopSlot {
        platform::AccessibleQuery query;
        platform::WindowId window = 0;
        std::unique_ptr<platform::AccessibleElement> element;
    };
    // A window whose address bar has been found. A window has one address bar
    // and its name does not change, so a search there that misses after the
    // bar was found will keep missing: it is not made again.
    struct KnownWindow {
        platform::WindowId window = 0;
        std::vector<platform::AccessibleQuery> misses;
    };
    struct BrowserSlots {
        WindowSlot first;
        DesktopSlot localized;
    };

    std::string readChromium(Browser browser, BrowserSlots& slots);
    std::string readFirefox();
    bool processRunning(std::string_view imageName);
    std::optional<Look> lookInWindow(WindowSlot& slot, platform::WindowId window,
                                     const platform::AccessibleQuery& query);
    // `image`: the browser's; windows of other programs are not searched.
    std::optional<Look> lookOnDesktop(DesktopSlot& slot, const platform::AccessibleQuery& query,
                                      std::string_view image);
    // A search through the known windows: null for a settled miss.
    std::unique_ptr<platform::AccessibleElement> search(platform::WindowId window,
                                                        const platform::AccessibleQuery& query);
    void forgetWindowsOtherThan(const std::vector<platform::WindowId>& windows);
    void forgetWindow(platform::WindowId window);

    platform::Processes& processes_;
    platform::WindowSystem& windows_;
    platform::Accessibility& accessibility_;
    std::string language_;
    bool caching_ = true;
    BrowserSlots chrome_;
    BrowserSlots edge_;
    DesktopSlot firefox_;
    std::vector<KnownWindow> known_;
    platform::WindowId reading_ = 0;  // the window the first attempt reads now
    bool busy_ = false;               // a read is under way
};

}  // namespace ombrix::enforce
