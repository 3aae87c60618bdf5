// A school week in a few minutes, run by scripts/soak.sh for
// OMBRIX_SOAK_MINUTES: every forbidden page, program and window met must be
// ended. Once a minute it prints the program's handles, objects and threads
// and the store's and log's size; the script judges the growth.
#include <windows.h>

#include <gtest/gtest.h>

#include <tlhelp32.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "e2e/driver.h"
#include "enforce/address_readers.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"
#include "win32/browser_standin.h"

namespace ombrix::e2e {
namespace {

using Clock = std::chrono::steady_clock;

long long fileBytes(const std::filesystem::path& file) {
    std::error_code ec;
    const auto size = std::filesystem::file_size(file, ec);
    return ec ? 0 : static_cast<long long>(size);
}

int threadsOf(DWORD process) {
    win32::UniqueKernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL more = Thread32First(snapshot.get(), &entry); more; more = Thread32Next(snapshot.get(), &entry)) {
        count += entry.th32OwnerProcessID == process;
    }
    return count;
}

// The process's handles, from the system's list of every handle where the
// process cannot be asked itself (Wine answers GetProcessHandleCount with 0
// for another process); -1 when neither tells.
long long handlesOf(HANDLE process, DWORD id) {
    DWORD count = 0;
    if (GetProcessHandleCount(process, &count) && count > 0) return count;
    struct Entry {
        ULONG owner;
        BYTE type, flags;
        USHORT value;
        PVOID object;
        ACCESS_MASK access;
    };
    using Query = LONG(WINAPI*)(ULONG, PVOID, ULONG, PULONG);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    if (!query) return -1;
    std::vector<BYTE> buffer(1 << 20);
    ULONG needed = 0;
    LONG status = 0;
    while ((status = query(16 /* handles */, buffer.data(), static_cast<ULONG>(buffer.size()), &needed)) ==
               static_cast<LONG>(0xC0000004) &&
           buffer.size() < (64u << 20)) {
        buffer.resize(buffer.size() * 2);
    }
    if (status != 0) return -1;
    const ULONG entries = *reinterpret_cast<const ULONG*>(buffer.data());
    const auto* entry = reinterpret_cast<const Entry*>(buffer.data() + sizeof(ULONG_PTR));
    return std::count_if(entry, entry + entries, [&](const Entry& e) { return e.owner == id; });
}

// A count of the program's objects of a kind; -1 where the system cannot tell.
long long guiObjects(HANDLE process, DWORD kind) {
    SetLastError(0);
    const DWORD n = GetGuiResources(process, kind);
    return n == 0 && GetLastError() != 0 ? -1 : static_cast<long long>(n);
}

// What was met and what of it was ended.
struct Tally {
    int met = 0, ended = 0;
    void add(bool wasEnded) { ++met, ended += wasEnded; }
    [[nodiscard]] std::string text() const { return std::to_string(ended) + "/" + std::to_string(met); }
};

using Soak = InstalledProgram;

TEST_F(Soak, DISABLED_EveryForbiddenPageProgramAndWindowIsEndedAllWeek) {
    const char* asked = std::getenv("OMBRIX_SOAK_MINUTES");
    const int minutes = asked && std::atoi(asked) > 0 ? std::atoi(asked) : 2;
    const int now = secondsNow();
    // Three break slots between lessons, all over before the run ends.
    const int slot = (minutes * 60 - 30) / 7;
    if (now + minutes * 60 + 120 >= 24 * 3600) GTEST_SKIP() << "the run would cross midnight";
    std::string slots = "UPDATE Fasce SET ProfiloFasceNonDefinite = 2";
    for (int i = 1; i <= 3; ++i) {
        const int from = now + 15 + (2 * i - 1) * slot;
        const std::string n = std::to_string(i);
        slots += ", Fascia" + n + "Dalle = '" + storedTime(from) + "', Fascia" + n + "Alle = '" +
                 storedTime(from + slot - 1) + "', Fascia" + n + "Profilo = 3";
    }
    install.sql("INSERT INTO Profili (IDProfilo, Profilo, SitiProibiti) VALUES (2, 'Lezione', -1), (3, 'Intervallo', -1);"
                "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 99999) "
                "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) SELECT 2, '.sito' || i || '.example' FROM n;"
                "INSERT INTO SitiVietatiConsentiti (IDProfilo, Sito) VALUES (2, '.vietato.example'), (3, '.vietato.example');"
                "INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (2, 'vietato.exe'), (3, 'vietato.exe');"
                "INSERT INTO NomiFinestreVietate (IDProfilo, NomeFinestra) VALUES (2, 'Finestra vietata'), (3, 'Finestra vietata');"
                "UPDATE Profili SET NascondiMessaggiNotifica = -1;"
                "UPDATE Opzioni SET LogSiti = -1, FasceOrarie = -1, IDProfiloInUso = 2;" +
                slots + ";");
    ASSERT_EQ(install.scalar("SELECT count(*) FROM SitiVietatiConsentiti WHERE IDProfilo = 2;"), "100000");

    // The browser that reopens the last good page is a stand-in too, so no page ever leaves this machine.
    const auto bar =
        enforce::localizedQuery(enforce::Browser::Chrome, enforce::languageSettingFor(GetUserDefaultUILanguage())).query;
    const std::string arguments =
        (bar.property == platform::AccessibleText::Help ? "--help " : "--name ") + test::quoted(bar.text);
    const std::string opener = test::copyProgram("browser_standin.exe", install.file("predefinito\\chrome.exe"));
    test::MachineDefaultValue http(L"Software\\Classes\\http\\shell\\open\\command",
                                   win32::toWide(test::quoted(opener) + " " + arguments + " \"%1\""));
    ASSERT_TRUE(http.ok());
    ASSERT_TRUE(start(false));
    test::StandinBrowser browser("chrome.exe", arguments);
    ASSERT_TRUE(browser.started());
    const auto countClosed = [&] {
        const auto lines = browser.record();
        return std::count_if(lines.begin(), lines.end(), [](const std::string& l) { return l.rfind("ctrl+w", 0) == 0; });
    };

    Tally pages, programs, windows;
    int switches = 0;
    const win32::UniqueKernelHandle watched(OpenProcess(PROCESS_QUERY_INFORMATION | SYNCHRONIZE, FALSE, program->id()));
    ASSERT_TRUE(watched) << "the program cannot be looked at";
    const auto sample = [&](int minute) {
        std::printf("soak-sample minute=%d handles=%lld gdi=%lld user=%lld threads=%d store=%lld log=%lld "
                    "pages=%s programs=%s windows=%s switches=%d\n",
                    minute, handlesOf(watched.get(), program->id()), guiObjects(watched.get(), GR_GDIOBJECTS),
                    guiObjects(watched.get(), GR_USEROBJECTS), threadsOf(program->id()), fileBytes(install.database()),
                    fileBytes(install.logFile()), pages.text().c_str(), programs.text().c_str(), windows.text().c_str(),
                    switches);
        std::fflush(stdout);
    };
    std::string profile = install.inUse();
    const auto begun = Clock::now();
    auto nextProgram = begun + 5s, nextWindow = begun + 20s;
    int minute = 0;
    sample(minute);
    for (int step = 0; Clock::now() < begun + std::chrono::minutes(minutes) && program->running(); ++step) {
        if (step % 4 == 3) {
            const auto before = countClosed();
            ASSERT_TRUE(browser.send("activate\ntab http://www.vietato.example/" + std::to_string(step)));
            pages.add(waitFor([&] { return countClosed() > before; }, 10s));
        } else {
            ASSERT_TRUE(browser.send("show http://scuola.example/lezione/" + std::to_string(step)));
        }
        if (Clock::now() >= nextProgram) {
            nextProgram += 5s;
            programs.add(ends("vietato.exe"));
        }
        if (Clock::now() >= nextWindow) {
            nextWindow += 20s;
            const StartedProgram w = startCopy("finestra.exe", "Finestra vietata");
            windows.add(w.started() && w.waitForExit(10s).has_value());
        }
        if (const std::string inUse = install.inUse(); inUse != profile) {
            profile = inUse;
            ++switches;
        }
        if (Clock::now() >= begun + std::chrono::minutes(minute + 1)) sample(++minute);
        pause(200ms);
    }
    ASSERT_TRUE(program->running()) << "the program ended during the run";
    sample(minute + 1);
    // The script reads the program's memory when it sees a sample: the program stays for that long.
    pause(3s);
    EXPECT_GT(pages.met, 0);
    EXPECT_EQ(pages.ended, pages.met) << "forbidden pages left open";
    EXPECT_EQ(programs.ended, programs.met) << "forbidden programs left running";
    EXPECT_EQ(windows.ended, windows.met) << "forbidden windows left open";
    EXPECT_EQ(switches, 6) << "each slot's start and end changes the profile once";
    // The browsers' policies say once per change that a list this long is
    // left to the address readers: a limit of the policies, not a failure.
    std::vector<std::string> traced;
    for (const auto& line : test::logLines(install.file("DataBase\\Registro\\ombrix-trace.txt"))) {
        if (line.find("left to the readers") == std::string::npos) traced.push_back(line);
    }
    EXPECT_EQ(traced, std::vector<std::string>{}) << "failures were traced";
}

}  // namespace
}  // namespace ombrix::e2e
