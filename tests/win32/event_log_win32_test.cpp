// Events reach the system as ReportEventW calls (Wine traces each one) and
// ombrix.exe, the source's message file, holds their texts.
#include <windows.h>

#include <gtest/gtest.h>

#include "core/events.h"
#include "platform/text.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"
#include "win32/event_trace.h"

namespace ombrix::win32 {
namespace {

using platform::EventLevel;

TEST(EventLogWin32, EachReportIsACallWithItsTypeIdentifierUserAndStrings) {
    ASSERT_NE(std::getenv("OMBRIX_EVENT_TRACE"), nullptr) << "run through with_event_trace.sh, as ctest does";
    const std::string mark = "t" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(GetTickCount64());
    const struct {
        EventLevel level;
        std::uint32_t id;
        std::vector<std::string> strings;
        unsigned long type;
    } cases[] = {{EventLevel::Information, 1002, {"http://" + mark + "/", "chrome.exe", "Classe"}, EVENTLOG_INFORMATION_TYPE},
                 {EventLevel::Warning, 2100, {mark, "Password"}, EVENTLOG_WARNING_TYPE},
                 {EventLevel::Error, 2000, {"C:\\DataBase.db", mark}, EVENTLOG_ERROR_TYPE}};
    const std::unique_ptr<platform::EventLog> log = makeEventLog();
    for (const auto& c : cases) ASSERT_TRUE(log->report(c.level, c.id, c.strings));
    for (const auto& c : cases) {
        std::vector<std::string> traced;  // Wine doubles a backslash as it writes
        for (const auto& s : c.strings) traced.push_back(replaceAll(s, "\\", "\\\\"));
        EXPECT_TRUE(test::waitFor([&] {
            return std::ranges::any_of(test::tracedEvents(), [&](const test::TracedEvent& e) {
                return e.type == c.type && e.id == c.id && e.user && e.strings == traced;
            });
        })) << c.id;
    }
}

// Each event's text in both languages, with the event's own strings and no other.
TEST(EventLogWin32, OmbrixExeHoldsEveryEventsTextInBothLanguages) {
    HMODULE module = LoadLibraryExW(toWide(test::builtProgram("ombrix.exe")).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr);
    const auto text = [&](std::uint32_t id, WORD language, std::vector<std::wstring> s) {
        s.resize(4);
        DWORD_PTR args[4];
        for (int i = 0; i < 4; ++i) args[i] = reinterpret_cast<DWORD_PTR>(s[i].c_str());
        wchar_t* buffer = nullptr;
        const DWORD n = FormatMessageW(
            FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_ARGUMENT_ARRAY, module, id,
            MAKELANGID(language, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&buffer), 0,
            reinterpret_cast<va_list*>(args));
        const UniqueLocal owned(buffer);
        return n == 0 ? std::wstring() : std::wstring(buffer, n);
    };
    for (const auto& kind : core::eventKinds()) {
        for (const WORD language : {LANG_ENGLISH, LANG_ITALIAN}) {
            const auto id = static_cast<std::uint32_t>(kind.id);
            const std::wstring shown = text(id, language, {L"<1>", L"<2>", L"<3>", L"<4>"});
            EXPECT_NE(shown, L"") << id << " " << language;
            for (std::size_t n = 1; n <= 4; ++n) {
                EXPECT_EQ(shown.find(L"<" + std::to_wstring(n) + L">") != std::wstring::npos, n <= kind.strings)
                    << id << " " << language << " %" << n;
            }
        }
    }
    EXPECT_EQ(text(1002, LANG_ITALIAN, {L"http://giochi.example/", L"chrome.exe", L"Classe"}),
              L"Ombrix ha bloccato una pagina in chrome.exe: http://giochi.example/ (profilo: Classe).\r\n");
    FreeLibrary(module);
}

}  // namespace
}  // namespace ombrix::win32
