#pragma once
// What the enforcement sees of the external browsers: the address each one
// shows, and the shell's browser windows. Every reader returns "" when the
// browser is not running, its address cannot be read, or the user is typing
// in the address bar.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ombrix::platform {

// A browser found by what it shows rather than by its name (see
// enforce/browser_finder.h).
struct OtherBrowser {
    std::string image;  // what is ended: every process of this image name
    std::string label;  // the program as the notices name it
    bool gecko = false;      // judged as Firefox is, else as Chrome
    bool readable = false;   // its address bar was found
    bool ownReader = false;  // chrome.exe, msedge.exe, firefox.exe: their own readers judge the pages

    bool operator==(const OtherBrowser&) const = default;
};

class BrowserAddresses {
public:
    virtual ~BrowserAddresses() = default;
    [[nodiscard]] virtual std::string readChromeAddress() = 0;
    [[nodiscard]] virtual std::string readEdgeAddress() = 0;
    [[nodiscard]] virtual std::string readFirefoxAddress() = 0;
    // The shell's browser windows as "1§<address>|2§<address>|..." (only
    // http and ftp addresses count).
    [[nodiscard]] virtual std::string shellWindowAddresses() = 0;
    // The browsers found by what their windows show, and the address one of
    // them shows ("" as the readers above). None where nothing looks.
    [[nodiscard]] virtual std::vector<OtherBrowser> otherBrowsers() { return {}; }
    [[nodiscard]] virtual std::string readOtherAddress(std::string_view /*image*/) { return {}; }
};

// One window of the shell's browser-window collection.
struct ShellBrowserWindow {
    std::string locationUrl;
    std::string locationName;
};

class ShellBrowserWindows {
public:
    virtual ~ShellBrowserWindows() = default;
    [[nodiscard]] virtual std::vector<ShellBrowserWindow> windows() = 0;
    // Sends the window at this position of the last windows() list back one page.
    virtual void goBack(std::size_t index) = 0;
};

}  // namespace ombrix::platform
