// Faults a PC meets, met by the running program: a machine that slept past
// a slot's start, a shell that ended and started again, a store that another
// process holds locked.
#include <windows.h>

#include <gtest/gtest.h>

#include "core/database.h"
#include "e2e/driver.h"
#include "platform/files.h"
#include "platform/win32/handles.h"

namespace ombrix::e2e {
namespace {

using namespace std::chrono_literals;

class FaultsTest : public InstalledProgram {
protected:
    // Profile 2 outside the slot, 3 inside it from `from` for an hour; each
    // forbids its own program.
    void slotFrom(int from) {
        install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (2, 'Lezione', -1),"
                    " (3, 'Intervallo', -1);"
                    "INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (2, 'vietato2.exe'), (3, 'vietato3.exe');"
                    "UPDATE Opzioni SET FasceOrarie = -1, IDProfiloInUso = 2;"
                    "UPDATE Fasce SET ProfiloFasceNonDefinite = 2, Fascia1Dalle = '" + storedTime(from) +
                    "', Fascia1Alle = '" + storedTime(from + 3600) + "', Fascia1Profilo = 3;");
    }
    // The program with the slots on, once its enforcement runs.
    HWND startMinimised() {
        HWND main = startHidden();
        return main && ended("vietato2.exe") ? main : nullptr;
    }
    [[nodiscard]] std::string inUse() const { return install.scalar("SELECT IDProfiloInUso FROM Opzioni;"); }
    // Whether a copy of the recorder named `image` is ended by the program.
    [[nodiscard]] bool ended(const std::string& image) const {
        const std::string exe = test::copyRecorder(pathToUtf8(install.folder() / L"giochi" / pathFromUtf8(image)));
        StartedProgram p = test::startRecorder(exe, pathToUtf8(install.folder() / L"giochi.log"), "Gioco");
        return p.started() && p.waitForExit(15s).has_value();
    }
};

// The program's thread stands still while the slot starts, as a machine
// asleep; the resume's message puts the slot's profile in use at once,
// before any timer of the program has ticked.
TEST_F(FaultsTest, AResumeAfterTheSlotStartedPutsItsProfileInUseAtOnce) {
    const int from = secondsNow() + 20;
    if (from + 3600 >= 24 * 3600) GTEST_SKIP() << "too close to midnight";
    slotFrom(from);
    HWND main = startMinimised();
    ASSERT_TRUE(main);
    ASSERT_EQ(inUse(), "2");
    const win32::UniqueKernelHandle thread(
        OpenThread(THREAD_SUSPEND_RESUME, FALSE, GetWindowThreadProcessId(main, nullptr)));
    ASSERT_TRUE(thread);
    ASSERT_NE(SuspendThread(thread.get()), static_cast<DWORD>(-1));
    const bool slept = waitFor([&] { return secondsNow() > from + 1; }, 60s);
    const std::string asleep = inUse();
    ResumeThread(thread.get());
    ASSERT_TRUE(slept);
    EXPECT_EQ(asleep, "2") << "nothing ran while asleep";
    DWORD_PTR result = 0;
    ASSERT_TRUE(SendMessageTimeoutW(main, WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC, 0, SMTO_NORMAL, 30000, &result));
    EXPECT_EQ(inUse(), "3") << "the slot's profile, by the time the resume was handled";
    EXPECT_TRUE(ended("vietato3.exe"));
}

// A shell started again has a free task bar and says so to every window
// (TaskbarCreated). Wine's virtual desktop ends with its shell and cannot
// start again in the same session, so the new shell's Start button is this
// one, freed as a new shell brings it, and the message is the real one.
TEST_F(FaultsTest, TheShellsRestartMessageWhileLockedLocksTheNewTaskBarAgain) {
    install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti, Kiosk, TastoStartDisabilitato) "
                "VALUES (3, 'Chiosco', -1, -1, -1); UPDATE Opzioni SET IDProfiloInUso = 3;");
    HWND startButton = FindWindowExW(FindWindowW(L"Shell_TrayWnd", L""), nullptr, L"Button", nullptr);
    ASSERT_TRUE(startButton) << "the virtual desktop has no task bar";
    const auto locked = [&] { return !IsWindowEnabled(startButton) && !IsWindowVisible(startButton); };
    ASSERT_TRUE(start());
    ASSERT_TRUE(waitFor(locked));
    EnableWindow(startButton, TRUE);
    ShowWindow(startButton, SW_SHOW);
    DWORD_PTR result = 0;
    SendMessageTimeoutW(HWND_BROADCAST, RegisterWindowMessageW(L"TaskbarCreated"), 0, 0, SMTO_ABORTIFHUNG, 10000,
                        &result);
    EXPECT_TRUE(waitFor(locked)) << "the Start button is disabled and hidden again";
    EXPECT_TRUE(program->running());
    // Given back for the tests that follow, whatever happened here.
    program.reset();
    EnableWindow(startButton, TRUE);
    ShowWindow(startButton, SW_SHOW);
}

// Another process holds the store locked across the slot's start (an
// administrator's SQLite shell): the lists in force stay, and once the lock
// is gone the slot's profile comes in at the next try.
TEST_F(FaultsTest, AStoreLockedAcrossASlotsStartKeepsTheListsInForceThenTakesTheSlots) {
    const int from = secondsNow() + 25;
    if (from + 3600 >= 24 * 3600) GTEST_SKIP() << "too close to midnight";
    slotFrom(from);
    ASSERT_TRUE(startMinimised());
    core::Database other;
    ASSERT_TRUE(other.open(pathToUtf8(install.database())));
    ASSERT_TRUE(other.exec("BEGIN EXCLUSIVE;"));
    ASSERT_TRUE(waitFor([&] { return secondsNow() > from + 3; }, 60s));
    EXPECT_TRUE(ended("vietato2.exe")) << "the lists in force stay";
    ASSERT_TRUE(other.exec("COMMIT;"));
    other.close();
    EXPECT_TRUE(waitFor([&] { return inUse() == "3"; }, 90s)) << "the slot's profile once the store reads";
    EXPECT_TRUE(ended("vietato3.exe"));
    EXPECT_TRUE(program->running());
}

}  // namespace
}  // namespace ombrix::e2e
