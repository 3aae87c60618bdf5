// ombrixctl.exe read through pipes, as a person typing into another program
// uses it: each answer comes while standard input is still open.
#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "helpers.h"

namespace ombrix::win32 {
namespace {

TEST(CtlInteractive, EachAddressIsAnsweredBeforeTheNextIsTyped) {
    test::TempDir dir;
    const std::string store = dir.file("DataBase.db");
    const std::string program = test::quoted(test::builtProgram("ombrixctl.exe"));
    const auto run = [&](const std::string& arguments, HANDLE in, HANDLE out) {
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = in;
        startup.hStdOutput = out;
        startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
        std::wstring line = toWide(program + " " + arguments);
        PROCESS_INFORMATION info{};
        if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                            &info)) {
            return UniqueKernelHandle();
        }
        CloseHandle(info.hThread);
        return UniqueKernelHandle(info.hProcess);
    };
    {
        const UniqueKernelHandle init = run("init " + test::quoted(store), nullptr, nullptr);
        ASSERT_TRUE(init.get());
        ASSERT_EQ(WaitForSingleObject(init.get(), 30000), WAIT_OBJECT_0);
    }
    core::Database db;
    ASSERT_TRUE(db.open(store));
    ASSERT_TRUE(db.exec("INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (1, '.poker.example');"));
    db.close();

    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE inRead = nullptr, inWrite = nullptr, outRead = nullptr, outWrite = nullptr;
    ASSERT_TRUE(CreatePipe(&inRead, &inWrite, &inherit, 0));
    ASSERT_TRUE(CreatePipe(&outRead, &outWrite, &inherit, 0));
    UniqueKernelHandle typing(inWrite), answers(outRead);
    SetHandleInformation(inWrite, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(outRead, HANDLE_FLAG_INHERIT, 0);
    const UniqueKernelHandle checker = run("--db " + test::quoted(store) + " check #1 -", inRead, outWrite);
    CloseHandle(inRead);
    CloseHandle(outWrite);
    ASSERT_TRUE(checker.get());

    // What came out within ten seconds, without waiting on a read that might never end.
    const auto answer = [&] {
        std::string got;
        for (int i = 0; i < 200 && got.find('\n') == std::string::npos; ++i) {
            DWORD available = 0;
            if (!PeekNamedPipe(answers.get(), nullptr, 0, nullptr, &available, nullptr)) break;
            if (available == 0) {
                Sleep(50);
                continue;
            }
            std::string chunk(available, '\0');
            DWORD n = 0;
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
