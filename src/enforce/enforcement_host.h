#pragma once
// What the enforcement asks of the controller that owns the main form. The
// controller implements it; tests record the calls.

#include <string>
#include <vector>

namespace ombrix::enforce {

// The notice kinds the enforcement passes to showMessage; the
// controller picks the heading from the kind.
inline constexpr int kNoticeSite = 1;     // a page was closed or refused
inline constexpr int kNoticeProcess = 2;  // a program was terminated
inline constexpr int kNoticeWindow = 3;   // a window was closed

class EnforcementHost {
public:
    virtual ~EnforcementHost() = default;

    // The on-screen notice; the host shows nothing while the profile hides
    // notices or when the text is blank.
    virtual void showMessage(const std::string& text, int kind) = 0;
    // Opens an address in the default browser.
    virtual void openPage(const std::string& address) = 0;
    // Opens the profile's start page with the start-page launcher.
    virtual void launchStartPage() = 0;
    // Deletes Firefox's saved session file, repeating while it still exists.
    virtual void clearFirefoxSession() = 0;
    // Whether a time-slot schedule is in force.
    [[nodiscard]] virtual bool timeSlotScheduleInForce() = 0;
    // The profile in use; 0 is none.
    [[nodiscard]] virtual long long profileInUse() = 0;
    // The program-wide copy of Opzioni.LogSiti.
    [[nodiscard]] virtual bool logSwitch() = 0;
    // The store could not be read while loading the lists: the administrator
    // is told, with the store's message. Called once until a load succeeds.
    virtual void storeUnreadable(const std::string& message) = 0;
    // Keeps the program's own notice and internal-browser windows on top.
    virtual void keepNoticeWindowsOnTop() = 0;

    // The internal browser. Until it exists there are no windows to count
    // and none to open.
    [[nodiscard]] virtual int internalBrowserWindowCount() { return 0; }
    virtual void openInternalBrowser() {}
    // The addresses its open windows show, for the log.
    [[nodiscard]] virtual std::vector<std::string> internalBrowserAddresses() { return {}; }
};

}  // namespace ombrix::enforce
