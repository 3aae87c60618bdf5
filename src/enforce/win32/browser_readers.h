#pragma once
// The browsers' addresses on Windows: the address readers over UI Automation
// (MSAA when UI Automation cannot be created), and Internet Explorer through
// the shell's window collection. One object for the program, used from the
// user-interface thread; it keeps COM initialised on that thread while it lives.

#include <windows.h>
#include <oaidl.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "enforce/address_readers.h"
#include "enforce/browser_finder.h"
#include "enforce/win32/accessibility_win32.h"
#include "platform/browsers.h"
#include "platform/clock.h"
#include "platform/processes.h"
#include "platform/win32/handles.h"
#include "platform/windows.h"

namespace ombrix::win32 {

class BrowserReaders final : public platform::BrowserAddresses, public platform::ShellBrowserWindows {
public:
    BrowserReaders(platform::Processes& processes, platform::WindowSystem& windows, platform::Clock& clock,
                   AccessibilityChoice choice = AccessibilityChoice::Automatic);
    ~BrowserReaders() override;

    std::string readChromeAddress() override;
    std::string readEdgeAddress() override;
    std::string readFirefoxAddress() override;
    // Through "Shell.Application" and its Windows collection. Internet
    // Explorer's windows are asked for only while iexplore.exe runs: each
    // question is a call into the shell's process.
    std::string shellWindowAddresses() override;
    // The other browsers, found by what their windows show.
    std::vector<platform::OtherBrowser> otherBrowsers() override { return finder_.browsers(); }
    std::string readOtherAddress(std::string_view image) override { return finder_.readAddress(image); }

    // Through the ShellWindows collection, while iexplore.exe runs.
    std::vector<platform::ShellBrowserWindow> windows() override;
    void goBack(std::size_t index) override;

    [[nodiscard]] enforce::AddressReaders& readers() { return readers_; }
    [[nodiscard]] bool usesUiAutomation() const noexcept { return accessibility_->isUiAutomation(); }
    [[nodiscard]] std::uint64_t accessibilityCalls() const noexcept { return accessibility_->accessibilityCalls(); }

private:
    [[nodiscard]] bool internetExplorerRunning();

    platform::Processes& processes_;
    // Already a multi-threaded apartment is fine too: COM works there.
    ComApartment apartment_ = ComApartment::enter(COINIT_APARTMENTTHREADED);
    std::unique_ptr<CountedAccessibility> accessibility_;
    enforce::AddressReaders readers_;
    enforce::BrowserFinder finder_;
    std::vector<ComPtr<IDispatch>> lastWindows_;  // the windows of the last windows() list
};

// The shell's browser windows through IDispatch: "Shell.Application"'s Windows
// collection, or the ShellWindows object. Empty when the shell offers none.
[[nodiscard]] std::vector<ComPtr<IDispatch>> shellApplicationWindows();
[[nodiscard]] std::vector<ComPtr<IDispatch>> shellWindows();
// A text property of a shell window ("LocationURL", "LocationName"); "" when it cannot be read.
[[nodiscard]] std::string shellWindowText(IDispatch* window, const wchar_t* property);
// Calls a method without arguments ("GoBack"); false when it failed.
bool shellWindowCall(IDispatch* window, const wchar_t* method);

}  // namespace ombrix::win32
