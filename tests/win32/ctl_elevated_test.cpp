// ombrixctl.exe's writes through the consent prompt, for real: every
// process under Wine is elevated, so the caller is told to act as a
// standard user's, and its write runs again through "runas" with its
// output, status and standard input relayed.
#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "helpers.h"
#include "platform/system.h"
#include "support/language.h"
#include "support/messages.h"

namespace ombrix::win32 {
namespace {

struct Ran {
    DWORD status = 0xFFFFFFFF;
    std::string out, err;
};

class CtlElevated : public ::testing::Test {
protected:
    CtlElevated() {
        std::filesystem::create_directory(temp);
        EXPECT_EQ(ctl("init " + test::quoted(store), false).status, 0u);
    }
    // ombrixctl ARGUMENTS with `input` on standard input and both outputs
    // caught in files; `standardUser`: it acts as a standard user's.
    Ran ctl(const std::string& arguments, bool standardUser = true, const std::string& input = {}) {
        // Files of their own each time: Wine closes an ended process's handles a moment late.
        const std::string n = std::to_string(++calls);
        const std::string in = dir.file("in" + n), out = dir.file("out" + n), err = dir.file("err" + n);
        test::writeFile(in, input);
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        const auto open = [&](const std::string& path, bool write) {
            return adoptInvalidOnFailure(CreateFileW(toWide(path).c_str(), write ? GENERIC_WRITE : GENERIC_READ,
                                                     FILE_SHARE_READ, &inherit, write ? CREATE_ALWAYS : OPEN_EXISTING,
                                                     FILE_ATTRIBUTE_NORMAL, nullptr));
        };
        Ran ran;
        {
            const auto stdIn = open(in, false), stdOut = open(out, true), stdErr = open(err, true);
            STARTUPINFOW startup{};
            startup.cb = sizeof startup;
            startup.dwFlags = STARTF_USESTDHANDLES;
            startup.hStdInput = stdIn.get();
            startup.hStdOutput = stdOut.get();
            startup.hStdError = stdErr.get();
            std::wstring line = toWide(test::quoted(test::builtProgram("ombrixctl.exe")) + " " + arguments);
            // Inherited by the caller only: the elevated run must never ask again on its own.
            SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", standardUser ? L"1" : nullptr);
            SetEnvironmentVariableW(L"TMP", toWide(pathToUtf8(temp)).c_str());
            PROCESS_INFORMATION info{};
            const BOOL started = CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                                nullptr, nullptr, &startup, &info);
            SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", nullptr);
            SetEnvironmentVariableW(L"TMP", savedTmp.empty() ? nullptr : savedTmp.c_str());
            if (!started) return ran;
            const UniqueKernelHandle process(info.hProcess);
            CloseHandle(info.hThread);
            if (WaitForSingleObject(process.get(), 30000) != WAIT_OBJECT_0) TerminateProcess(process.get(), 99);
            GetExitCodeProcess(process.get(), &ran.status);
        }
        ran.out = readWholeFile(out).value_or("?");
        ran.err = readWholeFile(err).value_or("?");
        return ran;
    }
    [[nodiscard]] bool tempIsEmpty() const { return std::filesystem::is_empty(temp); }

    test::TempDir dir;
    int calls = 0;
    std::string store = dir.file("DataBase.db");
    // The caller's temp folder, where the relay's folder is made and removed.
    std::filesystem::path temp = dir.path() / "temp";
    std::wstring savedTmp = [] {
        wchar_t value[MAX_PATH] = {};
        const DWORD n = GetEnvironmentVariableW(L"TMP", value, MAX_PATH);
        return n && n < MAX_PATH ? std::wstring(value, n) : std::wstring();
    }();
};

TEST_F(CtlElevated, AWriteRunsThroughThePromptAndItsResultsComeBack) {
    const std::string db = "--db " + test::quoted(store) + " ";
    Ran ran = ctl(db + "profile add Scuola");
    EXPECT_EQ(ran.status, 0u) << ran.err;
    EXPECT_EQ(ran.out, "2\tScuola\r\n");
    EXPECT_EQ(ran.err, "");
    EXPECT_TRUE(tempIsEmpty()) << "the relay's files are removed";
    EXPECT_EQ(ctl(db + "profiles", false).out, "1\tNessuna restrizione\r\n2\tScuola\r\n");

    ran = ctl(db + "profile add scuola");
    EXPECT_EQ(ran.status, 1u);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err.rfind("0021: ", 0), 0u) << ran.err;

    ran = ctl(db + "site add Scuola -", true, "a.org\r\nb.org\r\nA.ORG\r\n");
    EXPECT_EQ(ran.status, 0u) << ran.err;
    EXPECT_EQ(ran.out, "added 2, duplicates skipped 1\r\n");
    EXPECT_NE(ctl(db + "profile show Scuola", false).out.find("b.org"), std::string::npos);
    EXPECT_TRUE(tempIsEmpty());
}

// No relay folder, no run: the write is not made here instead.
TEST_F(CtlElevated, AWriteThatCannotStartSaysWhyAndChangesNothing) {
    const auto before = readWholeFile(store);
    std::filesystem::remove(temp);
    const Ran ran = ctl("--db " + test::quoted(store) + " profile add Scuola");
    EXPECT_EQ(ran.status, 1u);
    EXPECT_EQ(ran.err.rfind("0341: ", 0), 0u) << ran.err;
    // The text, in the language ombrixctl.exe speaks here, and the system's reason after it.
    platform::System& system = platform::realSystem();
    const Language language(system.programFolder(), '\\', system.userInterfaceLanguage());
    EXPECT_GT(ran.err.size(), ("0341: " + language.messageText(msg::ElevatedRunFailed) + " ").size()) << ran.err;
    EXPECT_EQ(readWholeFile(store), before);
}

}  // namespace
}  // namespace ombrix::win32
