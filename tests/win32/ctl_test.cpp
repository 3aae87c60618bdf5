// ombrixctl.exe for real: its writes go through the consent prompt (every
// process under Wine is elevated, so the caller is told to act as a standard
// user's and its write runs again through "runas", output, status and
// standard input relayed), and it answers each line read through a pipe
// while standard input is still open.
#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "helpers.h"

namespace ombrix::win32 {
namespace {

// ombrixctl ARGUMENTS with these standard handles, inherited.
UniqueKernelHandle startCtl(const std::string& arguments, HANDLE in, HANDLE out, HANDLE err) {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = in;
    startup.hStdOutput = out;
    startup.hStdError = err;
    std::wstring line = toWide(test::quoted(test::builtProgram("ombrixctl.exe")) + " " + arguments);
    PROCESS_INFORMATION info{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                        &info)) {
        return {};
    }
    CloseHandle(info.hThread);
    return UniqueKernelHandle(info.hProcess);
}

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
    // ombrixctl ARGUMENTS with `input` on standard input and both outputs in
    // files (new ones each time: Wine closes an ended process's handles a
    // moment late); `standardUser`: it acts as a standard user's.
    Ran ctl(const std::string& arguments, bool standardUser = true, const std::string& input = {}) {
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
            // Inherited by the caller only: the elevated run must never ask again on its own.
            SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", standardUser ? L"1" : nullptr);
            SetEnvironmentVariableW(L"TMP", temp.c_str());
            const auto process = startCtl(arguments, stdIn.get(), stdOut.get(), stdErr.get());
            SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", nullptr);
            SetEnvironmentVariableW(L"TMP", savedTmp.empty() ? nullptr : savedTmp.c_str());
            if (!process) return ran;
            if (WaitForSingleObject(process.get(), 30000) != WAIT_OBJECT_0) TerminateProcess(process.get(), 99);
            GetExitCodeProcess(process.get(), &ran.status);
        }
        ran.out = readWholeFile(out).value_or("?");
        ran.err = readWholeFile(err).value_or("?");
        return ran;
    }

    test::TempDir dir;
    int calls = 0;
    std::string store = dir.file("DataBase.db");
    std::string db = "--db " + test::quoted(store) + " ";
    // The caller's temp folder, where the relay's folder is made and removed.
    std::filesystem::path temp = dir.path() / "temp";
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
    EXPECT_EQ(ctl(db + "profiles", false).out, "1\tNessuna restrizione\r\n2\tScuola\r\n");
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

TEST_F(Ctl, EachAddressIsAnsweredBeforeTheNextIsTyped) {
    core::Database writer;
    ASSERT_TRUE(writer.open(store));
    ASSERT_TRUE(writer.exec("INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (1, '.poker.example');"));
    writer.close();
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE inRead = nullptr, inWrite = nullptr, outRead = nullptr, outWrite = nullptr;
    ASSERT_TRUE(CreatePipe(&inRead, &inWrite, &inherit, 0) && CreatePipe(&outRead, &outWrite, &inherit, 0));
    UniqueKernelHandle typing(inWrite), answers(outRead);
    SetHandleInformation(inWrite, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(outRead, HANDLE_FLAG_INHERIT, 0);
    const auto checker = startCtl(db + "check #1 -", inRead, outWrite,
                                  GetStdHandle(STD_ERROR_HANDLE));
    CloseHandle(inRead);
    CloseHandle(outWrite);
    ASSERT_TRUE(checker);
    // What came out within ten seconds, never waiting on a read that might not end.
    const auto answer = [&] {
        std::string got;
        for (int i = 0; i < 200 && got.find('\n') == std::string::npos; ++i) {
            DWORD available = 0, n = 0;
            if (!PeekNamedPipe(answers.get(), nullptr, 0, nullptr, &available, nullptr)) break;
            if (available == 0) {
                Sleep(50);
                continue;
            }
            std::string chunk(available, '\0');
            if (!ReadFile(answers.get(), chunk.data(), available, &n, nullptr)) break;
            got.append(chunk.data(), n);
        }
        return got;
    };
    const auto type = [&](const std::string& text) {
        DWORD written = 0;
        return WriteFile(typing.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != 0;
    };
    ASSERT_TRUE(type("http://www.poker.example/\r\n"));
    EXPECT_EQ(answer(), "blocked 0182 .poker.example\r\n");
    ASSERT_TRUE(type("http://scuola.example/\r\n"));
    EXPECT_EQ(answer(), "allowed\r\n");
    typing.reset();
    EXPECT_EQ(WaitForSingleObject(checker.get(), 30000), WAIT_OBJECT_0);
}

}  // namespace
}  // namespace ombrix::win32
