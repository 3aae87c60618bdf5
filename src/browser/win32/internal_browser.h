#pragma once
// The internal browser's windows: each frmBrowser the program opens, for
// the enforcement (how many, what they show), the application bar and the
// pop-ups of a page.

#include <windows.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "browser/browser_windows.h"
#include "browser/win32/browser_form.h"

namespace ombrix::win32 {

class InternalBrowser final : public browser::BrowserWindows {
public:
    // `kioskPlace` says where a window goes when the desktop is locked
    // (beside the application bar); nullopt lets the window centre itself.
    InternalBrowser(BrowserFormContext context, std::function<std::optional<RECT>()> kioskPlace);
    ~InternalBrowser() override;

    int count() override;
    void open() override;
    std::vector<std::string> addresses() override;
    void keepOnTop() override;

    // The keyboard of the window the message is for; true when it was used.
    bool handleMessage(MSG& msg);
    void closeAll();

private:
    BrowserForm* openWindow(bool goHome);
    void prune();

    BrowserFormContext context_;
    std::function<std::optional<RECT>()> kioskPlace_;
    std::vector<std::unique_ptr<BrowserForm>> windows_;
};

}  // namespace ombrix::win32
