// ombrix.exe, the event source's message file, holds every event's text in
// both languages, with the event's own strings and no other.
#include <windows.h>

#include <gtest/gtest.h>

#include "core/events.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"
#include "win32/helpers.h"

namespace ombrix::win32 {
namespace {

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
