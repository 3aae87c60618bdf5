// Forbidden programs and windows ended with a notice; the visited-sites log viewer.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include <commctrl.h>

#include "app/win32/forms/resource.h"
#include "e2e/driver.h"
#include "enforce/win32/log_form_ids.h"
#include "fakes/fixtures.h"
#include "platform/files.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"
#include "win32/event_trace.h"

namespace ombrix::e2e {
namespace {

using EnforcementTest = InstalledProgram;

// Its image name is found without case, and outside ASCII.
TEST_F(EnforcementTest, AForbiddenProgramIsTerminatedToldToTheEventLogAndTheNoticeCountsDownAndCloses) {
    install.sql("INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'Vietàto.EXE');");
    ASSERT_TRUE(start());
    const StartedProgram forbidden = startCopy("vietàto.exe");
    ASSERT_TRUE(forbidden.started());
    ASSERT_TRUE(forbidden.waitForExit()) << "the forbidden program still runs";
    EXPECT_TRUE(waitFor([] {
        const auto events = test::tracedEvents();
        return std::any_of(events.begin(), events.end(), [](const test::TracedEvent& e) {
            return e.id == 1000 && e.strings == std::vector<std::string>{"Viet\\00e0to.EXE", "Nessuna restrizione"};
        });
    })) << "no event with the name as listed and the profile in use";

    HWND box = nullptr;
    ASSERT_TRUE(waitFor([&] { return (box = notice()) != nullptr; })) << "no notice";
    EXPECT_TRUE(topmost(box));
    EXPECT_EQ(text(GetDlgItem(box, IDC_LBLTIPO)) + L"|" + text(GetDlgItem(box, IDC_LBLMESSAGGIO)) + L"|" +
                  text(GetDlgItem(box, IDC_LBLINTESTAZIONE)),
              L"Programma chiuso|Programma vietato chiuso: Viet\u00e0to.EXE|Messaggio di Ombrix");
    picture(box, "frmMessaggio");
    // The button counts down from ten, then the notice goes away by itself.
    std::vector<int> counts;
    const auto shownAt = std::chrono::steady_clock::now();
    ASSERT_TRUE(waitFor(
        [&] {
            const std::wstring caption = text(GetDlgItem(box, IDC_CMDOK));
            const int n = caption.size() > 4 ? std::stoi(caption.substr(4)) : -1;
            if (n >= 0 && (counts.empty() || counts.back() != n)) counts.push_back(n);
            return !IsWindowVisible(box);
        },
        20s))
        << "the notice did not close itself";
    EXPECT_GE(std::chrono::steady_clock::now() - shownAt, 9s);
    ASSERT_GE(counts.size(), 8u);
    EXPECT_GE(counts.front(), 10);
    EXPECT_LE(counts.back(), 1);
    EXPECT_TRUE(std::is_sorted(counts.rbegin(), counts.rend()) && std::adjacent_find(counts.begin(), counts.end()) == counts.end())
        << ::testing::PrintToString(counts);
    EXPECT_TRUE(program->running());
}

// A copy under another name is known by the name its executable keeps inside;
// a program whose inner name is not forbidden is left alone, whatever its file
// is called. How soon the forbidden one goes once it makes its first window
// is measured over twenty starts and reported, never asserted.
TEST_F(EnforcementTest, AForbiddenProgramUnderAnotherNameGoesSoonAfterItsFirstWindowAnotherIsLeft) {
    install.sql("INSERT INTO ProcessiVietati (IDProfilo, Processo) VALUES (1, 'Gioco.exe');"
                "UPDATE Profili SET NascondiMessaggiNotifica = -1 WHERE IDProfilo = 1;");
    ASSERT_TRUE(start());
    // "GIOCO.EXE" inside, "appunti.exe" outside; "lettore.exe" inside, "gioco2.exe" outside.
    const std::string renamed = test::copyProgram("gioco_recorder.exe", install.file("appunti.exe"));
    const std::string other = test::copyProgram("lettore_recorder.exe", install.file("gioco2.exe"));
    const StartedProgram kept = test::startRecorder(other, install.file("lettore.log"), "Lettore");
    ASSERT_TRUE(kept.started());
    std::vector<long long> delays;
    for (int run = 0; run < 20; ++run) {
        const std::string log = install.file("appunti" + std::to_string(run) + ".log");
        const StartedProgram game = test::startRecorder(renamed, log, "Appunti");
        // Ended while it was still starting: Wine's CreateProcess then fails.
        if (!game.started()) continue;
        ASSERT_TRUE(game.waitForExit()) << "the renamed forbidden program still runs";
        const auto endedAt = static_cast<long long>(GetTickCount64());
        // A start ended before it made its window has no delay to tell.
        for (const std::string& line : test::logLines(log)) {
            if (line.rfind("creating ", 0) == 0) delays.push_back(endedAt - std::stoll(line.substr(9)));
        }
    }
    ASSERT_FALSE(delays.empty());
    std::sort(delays.begin(), delays.end());
    RecordProperty("median_ms_from_first_window_to_end", std::to_string(delays[delays.size() / 2]));
    std::printf("forbidden program ended %lld ms (median of %zu) after making its first window; slowest %lld ms\n",
                delays[delays.size() / 2], delays.size(), delays.back());
    ASSERT_TRUE(test::waitForLine(install.file("lettore.log"), "creating")) << "the other program never made its window";
    EXPECT_TRUE(kept.running()) << "a program whose inner name is not forbidden was ended";
}

// The title is found without case, and outside ASCII.
TEST_F(EnforcementTest, AForbiddenWindowIsClosedWithANotice) {
    install.sql("INSERT INTO NomiFinestreVietate (IDProfilo, NomeFinestra) VALUES (1, 'Finestra Proibità');");
    ASSERT_TRUE(start());
    const std::string log = install.file("finestra.log");
    const StartedProgram window = test::startRecorder(test::recorderPath(), log, "FINESTRA proibità");
    ASSERT_TRUE(test::waitForLine(log, "close")) << "the forbidden window got no close request";
    HWND box = nullptr;
    ASSERT_TRUE(waitFor([&] { return (box = notice()) != nullptr; }));
    EXPECT_EQ(text(GetDlgItem(box, IDC_LBLTIPO)), L"Finestra chiusa");
    EXPECT_EQ(text(GetDlgItem(box, IDC_LBLMESSAGGIO)), L"Finestra vietata chiusa: Finestra Proibit\u00e0");
}

class LogViewerTest : public InstalledProgram {
protected:
    HWND openViewer() {
        HWND main = start();
        return main && admin(main) ? open(main, IDC_CMDLOGSITI, IDC_LISTEXPORTSITIVISITATI) : nullptr;
    }
    static int rows(HWND viewer) {
        return static_cast<int>(SendMessageW(GetDlgItem(viewer, IDC_LISTEXPORTSITIVISITATI), LVM_GETITEMCOUNT, 0, 0));
    }
};

TEST_F(LogViewerTest, ShowsTodayThenARangeAndRefusesABadDate) {
    // The rows are in the log's own file; the store's old table holds none.
    install.logSql("INSERT INTO LogSiti (DataOra, URL) VALUES (datetime('now', 'localtime', '-1 minute'), 'http://oggi.example/1'),"
                   " (datetime('now', 'localtime'), 'http://oggi.example/2'), ('2020-01-01 10:00:00', 'http://vecchio.example/');");
    ASSERT_EQ(install.scalar("SELECT count(*) FROM LogSiti;"), "0");
    HWND viewer = openViewer();
    ASSERT_TRUE(viewer);
    EXPECT_EQ(rows(viewer), 2) << "today's rows only";
    picture(viewer, "frmLogSiti");
    fill(GetDlgItem(viewer, IDC_TXTDATADA), L"01/01/2020");
    click(GetDlgItem(viewer, IDC_CMDVISUALIZZA));
    EXPECT_TRUE(waitFor([&] { return rows(viewer) == 3; }));
    // A date that does not exist: refused with its message, the list untouched.
    fill(GetDlgItem(viewer, IDC_TXTDATAA), L"31/02/2024");
    click(GetDlgItem(viewer, IDC_CMDVISUALIZZA));
    EXPECT_NE(answer(*program, IDOK), L"<no message>");
    EXPECT_TRUE(waitFor([&] { return IsWindowEnabled(viewer) != FALSE; }));
    EXPECT_EQ(rows(viewer), 3);
    EXPECT_TRUE(command(viewer, IDC_LOG_CMDESCI, [&] { return !IsWindow(viewer); }));
}

}  // namespace
}  // namespace ombrix::e2e
