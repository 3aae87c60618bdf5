// Programs under the system: the shell's run, metrokiller against a stand-in
// of the Start menu host, and the event source's message file in ombrix.exe.
#include <windows.h>

#include <gtest/gtest.h>

#include "core/events.h"
#include "fakes/fixtures.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"
#include "win32/helpers.h"

namespace ombrix::win32 {
namespace {

// As the kiosk launcher runs "<Program Files>\internet explorer\iexplore -k <address>".
TEST(Win32Shell, RunResolvesAnUnquotedPathWithBlanksAndRefusesWhatCannotStart) {
    test::TempDir dir;
    platform::Shell& shell = machine().shell();
    test::copyRecorder(dir.file("cartella con spazi\\iexplore.exe"));
    const std::string log = dir.file("k.log");
    ASSERT_TRUE(shell.run(dir.file("cartella con spazi\\iexplore") + " --log " + log + " -k http://www.example.org/", 4));
    EXPECT_EQ(test::waitForLine(log, "show"), "1 " + std::to_string(SW_SHOWNOACTIVATE));
    EXPECT_EQ(test::waitForLine(log, "arg"), "-k");
    if (const auto pid = test::waitForLine(log, "start")) machine().processes().terminate(std::stoul(*pid));
    const std::string other = test::quoted(test::copyRecorder(dir.file("ombrixstile.exe")));
    for (const int style : {-1, 7}) EXPECT_FALSE(shell.run(other, style)) << style;
    EXPECT_FALSE(shell.run(dir.file("nessuno.exe"), 1));
    EXPECT_FALSE(shell.open("", "C:\\", platform::kNormalFocus));
}

TEST(MetroKiller, ClosesAnOpenStartMenuSilentlyAndTellsWhatItFound) {
    const WNDCLASSW wc{0, DefWindowProcW, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, L"DV2ControlHost"};
    RegisterClassW(&wc);
    const std::string killer = test::quoted(test::builtProgram("metrokiller.exe")) + " /s";
    EXPECT_EQ(test::StartedProgram(killer).waitForExit(), 1u) << "nothing open";
    const WNDPROC closesOnEscape = [](HWND w, UINT msg, WPARAM wp, LPARAM lp) -> LRESULT {
        if (msg == WM_KEYDOWN && wp == VK_ESCAPE) return ShowWindow(w, SW_HIDE), 0;
        return DefWindowProcW(w, msg, wp, lp);
    };
    for (const auto& [procedure, status] : {std::pair{closesOnEscape, 0UL}, std::pair{WNDPROC(DefWindowProcW), 2UL}}) {
        const UniqueWindow menu(CreateWindowExW(WS_EX_TOOLWINDOW, wc.lpszClassName, L"Start menu", WS_POPUP | WS_VISIBLE,
                                                0, 400, 200, 300, nullptr, nullptr, nullptr, nullptr));
        SetWindowLongPtrW(menu.get(), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure));
        EXPECT_EQ(test::StartedProgram(killer).waitForExit(), status) << "2: a surface that stays open is told";
        EXPECT_EQ(IsWindowVisible(menu.get()) != FALSE, status != 0) << "closed as the menu closes itself";
        EXPECT_TRUE(IsWindow(menu.get())) << "not destroyed";
    }
}

// Every event's text in both languages, with the event's own strings and no other.
TEST(EventLogWin32, OmbrixExeHoldsEveryEventsTextInBothLanguages) {
    HMODULE module = LoadLibraryExW(toWide(test::builtProgram("ombrix.exe")).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr);
    const wchar_t* strings[] = {L"<1>", L"<2>", L"<3>", L"<4>"};  // as FORMAT_MESSAGE_ARGUMENT_ARRAY reads them
    for (const auto& kind : core::eventKinds()) {
        for (const WORD language : {LANG_ENGLISH, LANG_ITALIAN}) {
            const auto id = static_cast<DWORD>(kind.id);
            wchar_t* buffer = nullptr;
            const DWORD n = FormatMessageW(
                FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_ARGUMENT_ARRAY, module, id,
                MAKELANGID(language, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&buffer), 0,
                reinterpret_cast<va_list*>(const_cast<wchar_t**>(strings)));
            const UniqueLocal owned(buffer);
            const std::wstring shown = n == 0 ? std::wstring() : std::wstring(buffer, n);
            EXPECT_NE(shown, L"") << id << " " << language;
            for (std::size_t k = 1; k <= 4; ++k) {
                EXPECT_EQ(shown.find(strings[k - 1]) != std::wstring::npos, k <= kind.strings)
                    << id << " " << language << " %" << k;
            }
        }
    }
    FreeLibrary(module);
}

}  // namespace
}  // namespace ombrix::win32
