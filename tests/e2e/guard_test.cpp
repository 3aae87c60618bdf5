// The guard service under Wine's service control manager.
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
#include "platform/win32/guard_channel.h"
#include "platform/win32/wide.h"

namespace ombrix::e2e {
namespace {

class GuardTest : public InstalledProgram {
protected:
    GuardTest() {
        // The profile in use forbids a program and blocks downloads, which it
        // puts on the machine (and in its journal) at every start.
        install.sql("INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'vietato.exe');"
                    "UPDATE Profili SET BloccaDownload = -1 WHERE IDProfilo = 1;");
        RegDeleteKeyValueW(HKEY_CURRENT_USER, win32::toWide(core::kZone3).c_str(), L"1803");
        test::copyProgram("ombrixguard.exe", install.file("ombrixguard.exe"));
    }
    void SetUp() override { ASSERT_EQ(guardCommand("install"), 0u); }
    // The program the service started last is ended with `program`.
    ~GuardTest() override { EXPECT_EQ(guardCommand("remove"), 0u); }

    std::optional<DWORD> guardCommand(const std::string& what) const {
        return StartedProgram(test::quoted(install.file("ombrixguard.exe")) + " " + what).waitForExit(30s);
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
        program = std::make_unique<StartedProgram>(StartedProgram::attach(found.second));
        return found.first;
    }
    // Ends the program as a pupil's own tool would; the next one started must enforce.
    void endAndExpectBack(const std::function<void()>& end, const char* how) {
        const DWORD before = program->id();
        end();
        ASSERT_TRUE(program->waitForExit()) << how;
        ASSERT_TRUE(guarded(before)) << "not started again after " << how;
        EXPECT_TRUE(ends("vietato.exe")) << "not enforcing after " << how;
        EXPECT_TRUE(downloadsBlocked()) << "the forced end's journal was given back, and the profile not applied again";
    }
    void terminate() const {
        const win32::UniqueKernelHandle p(OpenProcess(PROCESS_TERMINATE, FALSE, program->id()));
        ASSERT_TRUE(p && TerminateProcess(p.get(), 1));
    }
    [[nodiscard]] static bool downloadsBlocked() {
        return waitFor([] { return registryValue(core::kZone3, core::kDownloadValue) == "dword 3"; });
    }
};

TEST_F(GuardTest, WhateverEndsTheProgramItComesBackAndEnforces) {
    ASSERT_TRUE(guarded());
    ASSERT_TRUE(ends("vietato.exe")) << "the first start";
    endAndExpectBack([] { ASSERT_TRUE(StartedProgram("taskkill.exe /f /im ombrix.exe").waitForExit()); }, "taskkill");
    endAndExpectBack(
        [] {
            const AsStandardUser pupil;
            EXPECT_EQ(StartedProgram(test::quoted(test::builtProgram("process_ender.exe")) + " ombrix.exe").waitForExit(), 0u);
        },
        "a pupil's TerminateProcess");
}

// The program started again acts as a pupil's does (the service gives it the
// user's environment): the stand-down goes through ombrixctl's elevated run,
// and the exit gives the machine back as it was before the first start.
TEST_F(GuardTest, TheAdministratorsExitStandsTheGuardDown) {
    test::copyProgram("ombrixctl.exe", install.file("ombrixctl.exe"));
    ASSERT_TRUE(guarded());
    platform::systemRegistry().writeString(platform::RegRoot::CurrentUser, "Environment", "OMBRIX_AS_STANDARD_USER", "1");
    endAndExpectBack([&] { terminate(); }, "TerminateProcess");
    platform::systemRegistry().deleteValue(platform::RegRoot::CurrentUser, "Environment", "OMBRIX_AS_STANDARD_USER");
    HWND main = mainForm(0).first;
    ASSERT_TRUE(main && admin(main)) << windowInFront();
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

// The channel admits administrators and the system only, believes no
// request that names a session, and a pipe of the same name made by someone
// else is never taken for the service.
TEST_F(GuardTest, TheChannelIsTheServicesAlone) {
    ASSERT_TRUE(guarded());
    const win32::UniqueKernelHandle pipe = win32::adoptInvalidOnFailure(
        CreateFileW(win32::kGuardPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(pipe) << GetLastError();
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(GetSecurityInfo(pipe.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr,
                              &descriptor),
              static_cast<DWORD>(ERROR_SUCCESS));
    const win32::UniqueLocal owned(descriptor);
    wchar_t* sddl = nullptr;
    ASSERT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION,
                                                                     &sddl, nullptr));
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
        win32::kGuardPipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE, PIPE_TYPE_MESSAGE, 1, 512, 512, 0, nullptr));
    ASSERT_TRUE(impostor) << GetLastError();
    ASSERT_TRUE(win32::startGuardService(error)) << error;
    EXPECT_FALSE(win32::askGuard("stand-down", error)) << "the impostor was believed";
    EXPECT_NE(error.find("not served by the Ombrix guard service"), std::string::npos) << error;
    // The guard guards on without its channel.
    const DWORD before = program->id();
    terminate();
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
        terminate();
        ASSERT_TRUE(ends("vietato.exe"));
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - killed).count());
    }
    std::sort(times.begin(), times.end());
    std::printf("kill to enforcement over %zu kills: min %.0f ms, median %.0f ms, max %.0f ms\n", times.size(),
                times.front(), (times[9] + times[10]) / 2, times.back());
}

}  // namespace
}  // namespace ombrix::e2e
