// The events reach the system as ReportEventW calls with their type,
// identifier, the user's SID and their strings (Wine writes each call to
// the trace this program runs with), and ombrix.exe holds their texts.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "core/events.h"
#include "platform/win32/handles.h"
#include "platform/text.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"
#include "win32/event_trace.h"

namespace ombrix::win32 {
namespace {

using platform::EventLevel;

TEST(EventLogWin32, EachReportIsACallWithItsTypeIdentifierUserAndStrings) {
    ASSERT_NE(std::getenv("OMBRIX_EVENT_TRACE"), nullptr) << "run through with_event_trace.sh, as ctest does";
    const std::string mark = "t" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(GetTickCount64());
    const std::unique_ptr<platform::EventLog> log = makeEventLog();
    const struct {
        EventLevel level;
        std::uint32_t id;
        std::vector<std::string> strings;
        unsigned long type;
    } cases[] = {
        {EventLevel::Information, 1002, {"http://" + mark + "/", "chrome.exe", "Classe"}, EVENTLOG_INFORMATION_TYPE},
        {EventLevel::Warning, 2100, {mark, "Password"}, EVENTLOG_WARNING_TYPE},
        {EventLevel::Error, 2000, {"C:\\DataBase.db", mark}, EVENTLOG_ERROR_TYPE},
    };
    for (const auto& c : cases) ASSERT_TRUE(log->report(c.level, c.id, c.strings));
    for (const auto& c : cases) {
        test::TracedEvent found;
        const auto ours = [&](const test::TracedEvent& e) {
            return e.id == c.id && std::any_of(e.strings.begin(), e.strings.end(), [&](const std::string& s) {
                       return s.find(mark) != std::string::npos;
                   });
        };
        EXPECT_TRUE(test::waitFor([&] {
            for (const auto& e : test::tracedEvents()) {
                if (ours(e)) found = e;
            }
            return found.id == c.id;
        })) << c.id << " not traced";
        EXPECT_EQ(found.type, c.type) << c.id;
        EXPECT_TRUE(found.user) << c.id;
        // Wine doubles the backslash as it writes.
        std::vector<std::string> traced = c.strings;
        for (auto& s : traced) s = replaceAll(s, "\\", "\\\\");
        EXPECT_EQ(found.strings, traced) << c.id;
    }
}

// The event source names ombrix.exe as its message file: each event's text
// is there, in both languages, around its strings.
TEST(EventLogWin32, OmbrixExeHoldsEveryEventsTextInBothLanguages) {
    const std::wstring exe = toWide(test::builtProgram("ombrix.exe"));
    HMODULE module = LoadLibraryExW(exe.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr);
    const auto text = [&](std::uint32_t id, WORD language, std::vector<std::wstring> strings) {
        strings.resize(3);
        DWORD_PTR args[] = {reinterpret_cast<DWORD_PTR>(strings[0].c_str()),
                            reinterpret_cast<DWORD_PTR>(strings[1].c_str()),
                            reinterpret_cast<DWORD_PTR>(strings[2].c_str())};
        wchar_t* buffer = nullptr;
        const DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ALLOCATE_BUFFER |
                                           FORMAT_MESSAGE_ARGUMENT_ARRAY,
                                       module, id, MAKELANGID(language, SUBLANG_DEFAULT),
                                       reinterpret_cast<wchar_t*>(&buffer), 0, reinterpret_cast<va_list*>(args));
        const UniqueLocal owned(buffer);
        return n == 0 ? std::wstring() : std::wstring(buffer, n);
    };
    for (const auto& kind : core::eventKinds()) {
        const auto id = static_cast<std::uint32_t>(kind.id);
        EXPECT_NE(text(id, LANG_ENGLISH, {}), L"") << id;
        EXPECT_NE(text(id, LANG_ITALIAN, {}), L"") << id;
    }
    EXPECT_EQ(text(1002, LANG_ITALIAN, {L"http://giochi.example/", L"chrome.exe", L"Classe"}),
              L"Ombrix ha bloccato una pagina in chrome.exe: http://giochi.example/ (profilo: Classe).\r\n");
    EXPECT_EQ(text(1000, LANG_ENGLISH, {L"gioco.exe", L"Classe"}),
              L"Ombrix ended a forbidden program: gioco.exe (profile: Classe).\r\n");
    FreeLibrary(module);
}

}  // namespace
}  // namespace ombrix::win32
