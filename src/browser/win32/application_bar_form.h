#pragma once
// frmBarraApplicazioni: the small always-on-top bar that stands in for the
// task bar while the desktop is locked; the only launch points left are the
// browser and the program itself.

#include <windows.h>

#include <functional>
#include <string>

#include "core/application_bar_window.h"
#include "support/win32/modeless_dialog.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

struct ApplicationBarContext {
    struct Switches {
        bool internalBrowser = false;  // UtilizzaBrowserInterno
        bool fullScreen = false;       // ApriPaginaInizialeATuttoSchermo
        std::string homePage;          // the profile's own start page, blank for none
    };
    Language& language;
    std::function<Switches()> switches;  // the profile in use, read at each show and click
    std::string defaultHomePage;         // when the profile names none
    std::function<void()> openInternalBrowser;
    std::function<void(const std::string&)> openExternalBrowser;
    std::function<void()> showProgram;  // the main form, forward
};

class ApplicationBarForm final : public core::ApplicationBar {
public:
    explicit ApplicationBarForm(ApplicationBarContext context) : c_(std::move(context)) {}
    ~ApplicationBarForm() override { unload(); }
    ApplicationBarForm(const ApplicationBarForm&) = delete;
    ApplicationBarForm& operator=(const ApplicationBarForm&) = delete;

    void show() override;
    void unload() override;
    [[nodiscard]] HWND window() const { return dialog_.get(); }
    // Where a window beside the bar goes: the work area without the bar's
    // strip; false while the bar is not shown.
    bool placeBeside(RECT& place) const;
    bool handleMessage(MSG& msg);

private:
    static INT_PTR CALLBACK Proc(HWND, UINT, WPARAM, LPARAM);
    void arrange(const ApplicationBarContext::Switches& s);
    void command(int id, int code);

    ApplicationBarContext c_;
    ModelessDialog dialog_;
};

}  // namespace ombrix::win32
