#pragma once
// The system's web-browser control hosted in a window of ours: the OLE
// container (client site, in-place site and frame) and the sink of the
// control's navigation events. The owner of the window decides; this only
// converts between the control and plain values.

#include <windows.h>

#include <exdisp.h>
#include <oleidl.h>

#include <string>

#include "platform/win32/handles.h"

namespace ombrix::win32 {

class WebBrowserEvents {
public:
    virtual ~WebBrowserEvents() = default;
    // Before any request is made; true cancels the navigation. `topLevel` is
    // false for a frame inside the page.
    virtual bool beforeNavigate(const std::string& url, bool topLevel) = 0;
    virtual void navigateComplete(const std::string& url) = 0;
    // `progressMax` is 0 or less when the control does not know it.
    virtual void progressChange(long progress, long progressMax) = 0;
    // A page asks for a new window: true cancels it; otherwise `newWindow`
    // may receive the control of a window of ours (a reference the caller
    // gives away), or stay null for the control to make its own.
    virtual bool newWindow(IDispatch** newWindow) = 0;
};

class WebBrowserHost {
public:
    WebBrowserHost();
    ~WebBrowserHost();
    WebBrowserHost(const WebBrowserHost&) = delete;
    WebBrowserHost& operator=(const WebBrowserHost&) = delete;

    // Creates the control inside `parent` over `area`, in-place active, with
    // script-error dialogs off. False, and nothing held, when the system has
    // no such control or refuses to host it. `events` must outlive destroy().
    bool create(HWND parent, const RECT& area, WebBrowserEvents& events);
    // Unhooks the events, deactivates and closes the control; safe twice.
    void destroy();
    [[nodiscard]] bool created() const { return static_cast<bool>(browser_); }

    void resize(const RECT& area);
    // False when the control refused the address.
    bool navigate(const std::string& address);
    void goBack();
    void goForward();
    void goHome();
    void refresh();
    void stop();
    // The system's print dialog for the page shown.
    void print();
    [[nodiscard]] std::string locationUrl() const;
    [[nodiscard]] std::string locationName() const;
    void setRegisterAsBrowser(bool on);
    // The control as an automation object, for a page's new window; a new
    // reference, null when none.
    [[nodiscard]] IDispatch* application() const;
    // The control's own window, for the keyboard focus; null when none.
    [[nodiscard]] HWND controlWindow() const;
    // True when the page itself has the keyboard focus (its active element is
    // the body or a frame), not one of its fields.
    [[nodiscard]] bool pageHasFocus() const;
    // Gives the control's accelerators (Tab inside the page, Ctrl+P) a look
    // at a keyboard message; true when it took it.
    bool translateAccelerator(MSG& msg);

private:
    class Site;
    class Sink;
    ComPtr<Site> site_;
    ComPtr<Sink> sink_;
    ComPtr<IOleObject> object_;
    ComPtr<IWebBrowser2> browser_;
    ComPtr<IConnectionPoint> point_;
    DWORD cookie_ = 0;
    OleApartment ole_;
};

}  // namespace ombrix::win32
