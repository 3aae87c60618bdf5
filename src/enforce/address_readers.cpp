#include "enforce/address_readers.h"

#include <algorithm>
#include <array>

#include "enforce/site_rules.h"
#include "platform/failures.h"
#include "platform/process_control.h"
#include "platform/text.h"

namespace ombrix::enforce {
namespace {

using platform::AccessibleElement;
using platform::AccessibleQuery;
using platform::AccessibleText;
using platform::WindowId;

struct LanguageRow {
    std::string_view language;
    AccessibleQuery query;
};

// Row 0 also serves an empty (or unknown) setting.
const std::array<LanguageRow, 5>& rowsFor(Browser browser) {
    static const std::array<LanguageRow, 5> chrome{{
        {kItalian, {AccessibleText::Name, "Barra degli indirizzi e di ricerca", false}},
        {kEnglish, {AccessibleText::Name, "Address and search bar", false}},
        // The trailing blank is the browser's own.
        {kSpanish, {AccessibleText::Name, "Barra de direcciones y de b\xC3\xBAsqueda ", false}},
        {kFrench, {AccessibleText::Name, "Barre d'adresse et de recherche", false}},
        {kGerman, {AccessibleText::Name, "Adress- und Suchleiste", false}},
    }};
    // Italian compares the help text; the other rows carry Firefox's wording.
    static const std::array<LanguageRow, 5> edge{{
        {kItalian, {AccessibleText::Help, "Cerca o immetti l'indirizzo Web", true}},
        {kEnglish, {AccessibleText::Name, "Search or enter web address", true}},
        {kSpanish, {AccessibleText::Name, "Buscar con Google o introducir direcci\xC3\xB3n", true}},
        {kFrench, {AccessibleText::Name, "Rechercher avec Google ou saisir une adresse", true}},
        {kGerman, {AccessibleText::Name, "Mit Google suchen oder Adresse eingeben", true}},
    }};
    static const std::array<LanguageRow, 5> firefox{{
        {kItalian, {AccessibleText::Name, "Cerca con Google o inserisci un indirizzo", true}},
        {kEnglish, {AccessibleText::Name, "Search with Google or enter address", true}},
        {kSpanish, {AccessibleText::Name, "Buscar con Google o introducir direcci\xC3\xB3n", true}},
        {kFrench, {AccessibleText::Name, "Rechercher avec Google ou saisir une adresse", true}},
        {kGerman, {AccessibleText::Name, "Mit Google suchen oder Adresse eingeben", true}},
    }};
    switch (browser) {
        case Browser::Chrome: return chrome;
        case Browser::Edge: return edge;
        case Browser::Firefox: break;
    }
    return firefox;
}

// One look at an element: its value and, when it has one, its focus state.
// nullopt when the element no longer answers.
template <typename Look>
std::optional<Look> lookAt(AccessibleElement& element) {
    std::optional<std::string> value = element.value();
    if (!value) return std::nullopt;
    Look look{std::move(*value), false};
    if (look.value.empty()) return look;
    const std::optional<bool> focused = element.hasKeyboardFocus();
    if (!focused) return std::nullopt;
    look.focused = *focused;
    return look;
}

// The Chrome and Edge result of a look: the lowered value with its scheme
// completed; "" for an empty bar or one the user is typing in.
std::string judge(std::string_view value, bool focused, Browser browser) {
    if (value.empty() || focused) return {};
    return completeScheme(lowerText(value), browser);
}

}  // namespace

std::string languageSettingFor(std::uint16_t langId) {
    switch (langId & 0x3ff) {  // the primary language
        case 0x10: return std::string(kItalian);
        case 0x09: return std::string(kEnglish);
        case 0x0a: return std::string(kSpanish);
        case 0x0c: return std::string(kFrench);
        case 0x07: return std::string(kGerman);
        default: return {};
    }
}

AccessibleQuery firstAttemptQuery(Browser browser) {
    switch (browser) {
        case Browser::Chrome: return {AccessibleText::Name, "Barra degli indirizzi e di ricerca", false};
        case Browser::Edge: return {AccessibleText::Name, "Indirizzo e barra di ricerca", false};
        case Browser::Firefox: break;
    }
    return rowsFor(Browser::Firefox)[0].query;
}

LocalizedQuery localizedQuery(Browser browser, std::string_view languageSetting) {
    const auto& rows = rowsFor(browser);
    for (const auto& row : rows) {
        if (row.language == languageSetting) return {row.query, row.language};
    }
    return {rows[0].query, rows[0].language};
}

std::string completeScheme(std::string_view lowered, Browser browser) {
    // The value is lowered before the test, so the browser's scheme is
    // compared in lower case ("edge://settings" stays as it is).
    const std::string_view own = browser == Browser::Edge ? "edge" : "chrome";
    if (lowered.starts_with("http") || lowered.starts_with(own) || lowered.starts_with("about:")) {
        return std::string(lowered);
    }
    return "http://" + std::string(lowered);
}

std::string shellWindowAddresses(const std::vector<std::string>& addresses) {
    std::string list;
    int n = 0;
    for (const auto& address : addresses) {
        if (!address.starts_with("http") && !address.starts_with("ftp")) continue;
        list += std::to_string(++n) + "\xC2\xA7" + address + "|";
    }
    return list;
}

std::string lastShellAddress(std::string_view list) {
    // A piece without its mark leaves the last address read before it.
    std::vector<std::string> addresses = shellAddresses(list);
    return addresses.empty() ? std::string() : std::move(addresses.back());
}

AddressReaders::AddressReaders(platform::Processes& processes, platform::WindowSystem& windows,
                               platform::Accessibility& accessibility)
    : processes_(processes), windows_(windows), accessibility_(accessibility),
      language_(languageSettingFor(accessibility.userInterfaceLanguage())) {}

void AddressReaders::setCaching(bool on) noexcept {
    caching_ = on;
    chrome_ = {};
    edge_ = {};
    firefox_ = {};
    known_.clear();
}

namespace {

// Marks a read under way for as long as it lasts, however it ends.
class OneRead {
public:
    explicit OneRead(bool& busy) noexcept : busy_(busy) { busy_ = true; }
    ~OneRead() { busy_ = false; }
    OneRead(const OneRead&) = delete;
    OneRead& operator=(const OneRead&) = delete;

private:
    bool& busy_;
};

}  // namespace

std::string AddressReaders::readChromeAddress() noexcept {
    if (busy_) return {};
    const OneRead once(busy_);
    try {
        return readChromium(Browser::Chrome, chrome_);
    } catch (...) {
        platform::recordCurrentFailure();
        chrome_ = {};
        known_.clear();
        return {};
    }
}

std::string AddressReaders::readEdgeAddress() noexcept {
    if (busy_) return {};
    const OneRead once(busy_);
    try {
        return readChromium(Browser::Edge, edge_);
    } catch (...) {
        platform::recordCurrentFailure();
        edge_ = {};
        known_.clear();
        return {};
    }
}

std::string AddressReaders::readFirefoxAddress() noexcept {
    if (busy_) return {};
    const OneRead once(busy_);
    try {
        return readFirefox();
    } catch (...) {
        platform::recordCurrentFailure();
        firefox_ = {};
        known_.clear();
        return {};
    }
}

bool AddressReaders::processRunning(std::string_view imageName) { return platform::IsProcessRunning(processes_, imageName); }

std::string AddressReaders::readChromium(Browser browser, BrowserSlots& slots) {
    if (!processRunning(browser == Browser::Edge ? "msedge.exe" : "chrome.exe")) return {};

    // The first window of the class is a hidden helper: only the second is read.
    const WindowId first = windows_.findByClass(kChromiumWindowClass, 0);
    const WindowId second = first != 0 ? windows_.findByClass(kChromiumWindowClass, first) : 0;
    reading_ = second;
    if (second == 0) {
        slots.first = WindowSlot{};
    } else {
        if (const auto look = lookInWindow(slots.first, second, firstAttemptQuery(browser))) {
            std::string result = judge(look->value, look->focused, browser);
            if (!result.empty()) return result;
        }
    }

    // The localized attempt, from the desktop: it also decides when the
    // browser has only one window of the class.
    const LocalizedQuery localized = localizedQuery(browser, language_);
    language_ = std::string(localized.language);
    const auto look =
        lookOnDesktop(slots.localized, localized.query, browser == Browser::Edge ? "msedge.exe" : "chrome.exe");
    if (!look) return {};
    return judge(look->value, look->focused, browser);
}

std::string AddressReaders::readFirefox() {
    reading_ = 0;
    if (!processRunning("firefox.exe")) return {};
    const auto look = lookOnDesktop(firefox_, localizedQuery(Browser::Firefox, language_).query, "firefox.exe");
    if (!look || look->focused) return {};
    return look->value;
}

std::unique_ptr<AccessibleElement> AddressReaders::search(WindowId window, const AccessibleQuery& query) {
    if (!caching_) return accessibility_.findFirst(window, query);
    auto known = std::find_if(known_.begin(), known_.end(), [&](const KnownWindow& k) { return k.window == window; });
    if (known != known_.end() && std::find(known->misses.begin(), known->misses.end(), query) != known->misses.end()) {
        return nullptr;
    }
    auto element = accessibility_.findFirst(window, query);
    if (element) {
        if (known == known_.end()) known_.push_back({window, {}});
    } else if (known != known_.end()) {
        known->misses.push_back(query);  // missed with the bar already there: settled
    }
    return element;
}

void AddressReaders::forgetWindowsOtherThan(const std::vector<WindowId>& windows) {
    // A window that left the desktop may come back as another one under the
    // same handle. The window the first attempt has just read may be hidden.
    std::erase_if(known_, [&](const KnownWindow& k) {
        return k.window != reading_ && std::find(windows.begin(), windows.end(), k.window) == windows.end();
    });
}

void AddressReaders::forgetWindow(WindowId window) {
    std::erase_if(known_, [&](const KnownWindow& k) { return k.window == window; });
}

std::optional<AddressReaders::Look> AddressReaders::lookInWindow(WindowSlot& slot, WindowId window,
                                                                 const AccessibleQuery& query) {
    if (slot.window != window || !(slot.query == query)) {
        slot = WindowSlot{};
        slot.window = window;
        slot.query = query;
    }
    if (slot.element) {
        if (auto look = lookAt<Look>(*slot.element)) return look;
        // Gone: the window may be another one by now. Search again at once.
        slot.element.reset();
        forgetWindow(window);
    }
    auto element = search(window, query);
    if (!element) return std::nullopt;
    auto look = lookAt<Look>(*element);
    if (look && caching_) slot.element = std::move(element);
    return look;
}

std::optional<AddressReaders::Look> AddressReaders::lookOnDesktop(DesktopSlot& slot, const AccessibleQuery& query,
                                                                  std::string_view image) {
    const std::vector<WindowId> windows = accessibility_.desktopWindows();
    // A search walks another process's element tree: only the browser's own
    // windows are worth it (a window whose process cannot be told still is).
    std::vector<std::uint32_t> others;
    for (const platform::ProcessEntry& p : processes_.snapshot()) {
        if (!equalsNoCase(p.imageName, image)) others.push_back(p.id);
    }
    const auto foreign = [&](WindowId window) {
        const std::uint32_t pid = windows_.processId(window);
        return pid != 0 && std::find(others.begin(), others.end(), pid) != others.end();
    };
    if (caching_) forgetWindowsOtherThan(windows);
    if (!(slot.query == query)) {
        slot = DesktopSlot{};
        slot.query = query;
    }
    // Front to back, as a search from the desktop goes: the first window
    // holding a match answers.
    for (const WindowId window : windows) {
        if (foreign(window) || !accessibility_.isVisible(window)) continue;
        if (slot.element && slot.window == window) {
            if (auto look = lookAt<Look>(*slot.element)) return look;
            slot.element.reset();  // gone: search this window again
            forgetWindow(window);
        }
        auto element = search(window, query);
        if (!element) continue;
        auto look = lookAt<Look>(*element);
        if (!look) return std::nullopt;
        if (caching_) {
            slot.window = window;
            slot.element = std::move(element);
        }
        return look;
    }
    slot.element.reset();
    return std::nullopt;
}

}  // namespace ombrix::enforce
