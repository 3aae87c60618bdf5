// The guard service under Wine's service control manager: it starts the
// program, starts it again whenever something ends it, stands down for the
// administrator's exit, and its channel believes no one but itself.
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "app/guard.h"
#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "machine/machine_profile.h"
#include "platform/file_registry.h"
#include "platform/files.h"
#include "platform/win32/guard_channel.h"
#include "platform/win32/wide.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

class GuardTest : public InstalledProgram {
protected:
    GuardTest() {
        // The profile in use forbids a program and blocks downloads, which it
        // puts on the machine (and in its journal) at every start.
        install.sql("INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'vietato.exe');"
                    "UPDATE Profili SET BloccaDownload = -1 WHERE IDProfilo = 1;");
        RegDeleteKeyValueW(HKEY_CURRENT_USER, win32::toWide(core::kZone3).c_str(), L"1803");
        test::copyProgram("ombrixguard.exe", pathToUtf8(guardExe()));
        forbidden_ = test::copyRecorder(pathToUtf8(install.folder() / L"giochi" / L"vietato.exe"));
    }
    void SetUp() override { ASSERT_EQ(guardCommand("install"), 0u); }
    // The program the service started last is ended with `program`.
    ~GuardTest() override { EXPECT_EQ(guardCommand("remove"), 0u); }

    [[nodiscard]] std::filesystem::path guardExe() const { return install.folder() / L"ombrixguard.exe"; }
    std::optional<DWORD> guardCommand(const std::string& what) const {
        return test::StartedProgram(test::quoted(pathToUtf8(guardExe())) + " " + what).waitForExit(30s);
    }

    // The main form on screen of a program other than `other`: the one the service started.
    [[nodiscard]] static std::pair<HWND, DWORD> mainForm(DWORD other) {
        DWORD id = 0;
        for (HWND w = GetTopWindow(nullptr); w != nullptr; w = GetWindow(w, GW_HWNDNEXT)) {
            if (GetDlgItem(w, IDC_TXTPASS) && visible(w) && GetWindowThreadProcessId(w, &id) && id != other) return {w, id};
        }
        return {nullptr, 0};
    }
    HWND guarded(DWORD other = 0) {
        std::pair<HWND, DWORD> found;
        if (!waitFor([&] { return (found = mainForm(other)).first != nullptr; }, 45s)) return nullptr;
        program = std::make_unique<test::StartedProgram>(test::StartedProgram::attach(found.second));
        return found.first;
    }

    // A forbidden program started now is ended: the program enforces.
    [[nodiscard]] bool enforcing() const {
        const test::StartedProgram game =
            test::startRecorder(forbidden_, pathToUtf8(install.folder() / L"vietato.log"), "Gioco");
        return game.started() && game.waitForExit(30s).has_value();
    }

    [[nodiscard]] static bool downloadsBlocked() {
        return waitFor([] { return registryValue(core::kZone3, core::kDownloadValue) == "dword 3"; });
    }

    std::string forbidden_;
};

TEST_F(GuardTest, WhateverEndsTheProgramItComesBackAndEnforces) {
    ASSERT_TRUE(guarded());
    ASSERT_TRUE(enforcing()) << "the first start";
    const DWORD first = program->id();

    ASSERT_TRUE(test::StartedProgram("taskkill.exe /f /im ombrix.exe").waitForExit());
    ASSERT_TRUE(program->waitForExit());
    ASSERT_TRUE(guarded(first)) << "not started again after taskkill";
    EXPECT_TRUE(enforcing()) << "after taskkill";
    EXPECT_TRUE(downloadsBlocked()) << "the forced end's journal was given back, and the profile not applied again";
    const DWORD second = program->id();

    // Any program of the pupil's that ends processes.
    SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", L"1");
    const auto ender = test::StartedProgram(test::quoted(test::builtProgram("process_ender.exe")) + " ombrix.exe")
                           .waitForExit();
    SetEnvironmentVariableW(L"OMBRIX_AS_STANDARD_USER", nullptr);
    ASSERT_EQ(ender, 0u) << "nothing was ended";
    ASSERT_TRUE(program->waitForExit());
    ASSERT_TRUE(guarded(second)) << "not started again after TerminateProcess";
    EXPECT_TRUE(enforcing()) << "after TerminateProcess";
}

// After a forced end and the guard's start, the exit gives the machine back
// as it was before the first start: the restarted program took the blocked
// downloads for the profile's, not for the machine's own.
// The program started again acts as a pupil's does (the service gives it the
// user's environment): the stand-down goes through ombrixctl's elevated run.
TEST_F(GuardTest, TheAdministratorsExitStandsTheGuardDown) {
    test::copyProgram("ombrixctl.exe", pathToUtf8(install.folder() / L"ombrixctl.exe"));
    ASSERT_TRUE(guarded());
    ASSERT_TRUE(downloadsBlocked());
    platform::systemRegistry().writeString(platform::RegRoot::CurrentUser, "Environment", "OMBRIX_AS_STANDARD_USER", "1");
    const win32::UniqueKernelHandle first(OpenProcess(PROCESS_TERMINATE, FALSE, program->id()));
    ASSERT_TRUE(first && TerminateProcess(first.get(), 1));
    HWND main = guarded(program->id());
    platform::systemRegistry().deleteValue(platform::RegRoot::CurrentUser, "Environment", "OMBRIX_AS_STANDARD_USER");
    ASSERT_TRUE(main);
    ASSERT_TRUE(downloadsBlocked());
    login(main, L"Segreta1");
    ASSERT_TRUE(waitFor([&] { return visible(GetDlgItem(main, IDC_CMDESCI)); })) << windowInFront();
    PostMessageW(main, WM_COMMAND, MAKEWPARAM(IDC_CMDESCI, BN_CLICKED), 0);
    ASSERT_EQ(program->waitForExit(30s), 0u);
    EXPECT_EQ(registryValue(core::kZone3, core::kDownloadValue), "-") << "not given back as it was";
    std::string error;
    const auto status = win32::askGuard("status", error);
    ASSERT_TRUE(status) << error;
    EXPECT_NE(status->find(" stood-down\n"), std::string::npos) << *status;
    // A restart would come within a second; three is generous.
    pause(3s);
    EXPECT_FALSE(mainForm(0).first) << "started again after the administrator's exit";
}

// The request says nothing of the session (the system says whose it is),
// the channel admits administrators and the system only, and a pipe of the
// same name made by someone else is never taken for the service.
TEST_F(GuardTest, TheChannelIsTheServicesAlone) {
    ASSERT_TRUE(guarded());
    const win32::UniqueKernelHandle pipe = win32::adoptInvalidOnFailure(
        CreateFileW(win32::kGuardPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(pipe) << GetLastError();
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(GetSecurityInfo(pipe.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                              nullptr, &descriptor),
              static_cast<DWORD>(ERROR_SUCCESS));
    const win32::UniqueLocal owned(descriptor);
    wchar_t* sddl = nullptr;
    ASSERT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1,
                                                                     DACL_SECURITY_INFORMATION, &sddl, nullptr));
    const win32::UniqueLocal text(sddl);
    // Windows maps the generic rights to the pipe's own; Wine keeps them.
    const std::string dacl = win32::fromWide(sddl);
    EXPECT_TRUE(dacl == "D:P(A;;FA;;;SY)(A;;FA;;;BA)" || dacl == "D:P(A;;GA;;;SY)(A;;GA;;;BA)") << dacl;

    DWORD mode = PIPE_READMODE_MESSAGE;
    SetNamedPipeHandleState(pipe.get(), &mode, nullptr, nullptr);
    const std::string forged = "stand-down 0";
    DWORD done = 0;
    ASSERT_TRUE(WriteFile(pipe.get(), forged.data(), static_cast<DWORD>(forged.size()), &done, nullptr));
    char reply[256] = {};
    ASSERT_TRUE(ReadFile(pipe.get(), reply, sizeof reply - 1, &done, nullptr));
    EXPECT_EQ(std::string(reply, done), "refused: unknown request");

    // A pipe someone made while the service was stopped: the service cannot
    // make its own, and nobody who asks believes the impostor.
    std::string error;
    ASSERT_TRUE(win32::stopGuardService(error)) << error;
    const win32::UniqueKernelHandle impostor = win32::adoptInvalidOnFailure(CreateNamedPipeW(
        win32::kGuardPipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE, PIPE_TYPE_MESSAGE, 1, 512, 512, 0,
        nullptr));
    ASSERT_TRUE(impostor) << GetLastError();
    ASSERT_TRUE(win32::startGuardService(error)) << error;
    EXPECT_FALSE(win32::askGuard("stand-down", error)) << "the impostor was believed";
    EXPECT_NE(error.find("not served by the Ombrix guard service"), std::string::npos) << error;
    // The guard guards on without its channel.
    const DWORD before = program->id();
    const win32::UniqueKernelHandle p(OpenProcess(PROCESS_TERMINATE, FALSE, before));
    ASSERT_TRUE(p && TerminateProcess(p.get(), 1));
    EXPECT_TRUE(guarded(before)) << "not started again";
}

// Not a check: kill to enforcement, 20 times, each after the program ran a
// while (scripts/guard-restart-time.sh).
TEST_F(GuardTest, DISABLED_KillToEnforcementTimes) {
    std::vector<double> times;
    DWORD last = 0;
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(guarded(last));
        last = program->id();
        // A running filter, as a pupil finds it: quick ends of a program that
        // cannot start are slowed down on purpose, and not measured here.
        pause(std::chrono::milliseconds(app::kGuardQuickRunMs));
        const auto killed = std::chrono::steady_clock::now();
        const win32::UniqueKernelHandle p(OpenProcess(PROCESS_TERMINATE, FALSE, last));
        ASSERT_TRUE(p && TerminateProcess(p.get(), 1));
        ASSERT_TRUE(enforcing());
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - killed).count());
    }
    std::sort(times.begin(), times.end());
    std::printf("kill to enforcement over %zu kills: min %.0f ms, median %.0f ms, max %.0f ms\n", times.size(),
                times.front(), (times[9] + times[10]) / 2, times.back());
}

}  // namespace
}  // namespace ombrix::e2e
