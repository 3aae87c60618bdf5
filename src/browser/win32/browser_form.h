#pragma once
// frmBrowser: the program's own browser window. It hosts the system's
// web-browser control and puts every address through the site list before
// and while it loads; the decisions are the portable address check's.

#include <windows.h>

#include <functional>
#include <string>

#include "browser/win32/web_browser_host.h"
#include "core/database.h"
#include "core/site_verdicts.h"
#include "support/messages.h"
#include "support/win32/modeless_dialog.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

class BrowserForm;

struct BrowserFormContext {
    Language& language;
    const core::SiteVerdicts& verdicts;
    core::Database& store;  // the switches for pop-ups and printing
    // The program's notice form, with the text to show.
    std::function<void(const std::string&)> notice;
    // Run before each control is made (the control's rendering mode).
    std::function<void()> beforeControl;
    // A new governed window for a page's pop-up; null when none could open.
    std::function<BrowserForm*()> openPopup;
};

class BrowserForm final : public WebBrowserEvents {
public:
    explicit BrowserForm(BrowserFormContext& context) : c_(context) {}
    ~BrowserForm() override;
    BrowserForm(const BrowserForm&) = delete;
    BrowserForm& operator=(const BrowserForm&) = delete;

    // Opens the window and its control. `goHome` is false for a pop-up,
    // whose page the opener is about to give it. `place`, when set, is where
    // the window goes (beside the application bar in a kiosk). False when the
    // window or the control could not be made; nothing is left open then.
    bool open(bool goHome, const RECT* place);
    void close();
    // Open, and not closed by the user since.
    [[nodiscard]] bool isOpen() const { return static_cast<bool>(dialog_); }
    [[nodiscard]] HWND window() const { return dialog_.get(); }
    [[nodiscard]] std::string address() const { return host_.locationUrl(); }
    // The control, for a pop-up's opener: a reference the caller gives away.
    [[nodiscard]] IDispatch* controlForPopup();
    // The window's keyboard: the page's accelerators, then the dialog's.
    bool handleMessage(MSG& msg);

private:
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    INT_PTR handle(UINT msg, WPARAM wp, LPARAM lp);
    void command(int id, int code);
    void layout();
    void go();
    void home();
    void print();
    void tickGoHome();
    [[nodiscard]] std::string boxText() const;
    void tell(MessageId message, const std::string& address);

    // WebBrowserEvents: the control's, reached through that interface only.
    bool beforeNavigate(const std::string& url, bool topLevel) override;
    void navigateComplete(const std::string& url) override;
    void progressChange(long progress, long progressMax) override;
    bool newWindow(IDispatch** newWindow) override;

    BrowserFormContext& c_;
    ModelessDialog dialog_;
    WebBrowserHost host_;
};

}  // namespace ombrix::win32
