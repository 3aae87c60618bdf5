// ombrixctl.exe for real: every process under Wine is elevated, so a standard
// user's write is made to run again through "runas", its output, status and
// standard input relayed back.
#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "helpers.h"

namespace ombrix::win32 {
namespace {

struct Ran {
    DWORD status = 0xFFFFFFFF;
    std::string out, err;
};

class Ctl : public ::testing::Test {
protected:
    Ctl() {
        std::filesystem::create_directory(temp);
        EXPECT_EQ(ctl("init " + test::quoted(store), false).status, 0u);
    }
    // ombrixctl ARGUMENTS with `input` on standard input, through the system's command shell.
    Ran ctl(const std::string& arguments, bool standardUser = true, const std::string& input = {}) {
        const std::string n = std::to_string(++calls), in = dir.file("in" + n), out = dir.file("out" + n),
                          err = dir.file("err" + n);
        test::writeFile(in, input);
        // Inherited by the caller only: the elevated run must never ask again on its own.
        SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", standardUser ? L"1" : nullptr);
        SetEnvironmentVariableW(L"TMP", temp.c_str());
        const std::string line = test::quoted(test::builtProgram("ombrixctl.exe")) + " " + arguments + " <" +
                                 test::quoted(in) + " >" + test::quoted(out) + " 2>" + test::quoted(err);
        test::StartedProgram shell("cmd.exe /c " + test::quoted(line));
        SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", nullptr);
        SetEnvironmentVariableW(L"TMP", savedTmp.empty() ? nullptr : savedTmp.c_str());
        const auto status = shell.waitForExit(std::chrono::seconds(30));
        return {status.value_or(0xFFFFFFFF), readWholeFile(out).value_or("?"), readWholeFile(err).value_or("?")};
    }

    test::TempDir dir;
    int calls = 0;
    std::string store = dir.file("DataBase.db");
    std::string db = "--db " + test::quoted(store) + " ";
    std::filesystem::path temp = dir.path() / "temp";  // where the relay's folder is made
    std::wstring savedTmp = [] {
        wchar_t value[MAX_PATH] = {};
        const DWORD n = GetEnvironmentVariableW(L"TMP", value, MAX_PATH);
        return n && n < MAX_PATH ? std::wstring(value, n) : std::wstring();
    }();
};

TEST_F(Ctl, AWriteRunsThroughThePromptItsResultsComeBackAndOneThatCannotStartChangesNothing) {
    Ran ran = ctl(db + "profile add Scuola");
    EXPECT_EQ(ran.status, 0u) << ran.err;
    EXPECT_EQ(ran.out + ran.err, "2\tScuola\r\n");
    ran = ctl(db + "profile add scuola");
    EXPECT_EQ(ran.status, 1u);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err.rfind("0021: ", 0), 0u) << ran.err;
    ran = ctl(db + "site add Scuola -", true, "a.org\r\nb.org\r\nA.ORG\r\n");
    EXPECT_EQ(ran.status, 0u) << ran.err;
    EXPECT_EQ(ran.out, "added 2, duplicates skipped 1\r\n");
    EXPECT_TRUE(std::filesystem::is_empty(temp)) << "the relay's files are removed";

    // No relay folder, no run: the write is not made here instead.
    const auto before = readWholeFile(store);
    std::filesystem::remove(temp);
    ran = ctl(db + "profile add Casa");
    EXPECT_EQ(ran.status, 1u);
    EXPECT_EQ(ran.err.rfind("0341: ", 0), 0u) << ran.err;
    EXPECT_EQ(readWholeFile(store), before);
}

}  // namespace
}  // namespace ombrix::win32
