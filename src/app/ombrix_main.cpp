// ombrix.exe: the running program. Builds the machine, the controller, the
// enforcement and the main form, starts up, and runs the message loop until
// the shutdown.
#include <windows.h>

#include <commctrl.h>

#include "core/controller.h"
#include "core/firefox_profile.h"
#include "core/win32/main_form.h"
#include "enforce/enforcement.h"
#include "enforce/win32/browser_readers.h"
#include "enforce/win32/log_form.h"
#include "platform/failures.h"
#include "platform/win32/debugger_output.h"
#include "platform/win32/instance_win32.h"
#include "platform/win32/machine.h"
#include "support/language.h"
#include "support/text.h"

namespace {

using namespace ombrix;

// What the enforcement asks of the program around it.
class ProgramHost final : public enforce::EnforcementHost {
public:
    ProgramHost(core::Controller& controller, win32::MainForm& form, win32::Machine& machine)
        : controller_(controller), form_(form), machine_(machine) {}

    void VisualizzaMessaggio(const std::string& text, int kind) override { controller_.VisualizzaMessaggio(text, kind); }
    void ApriPagina(const std::string& address) override {
        // The drive root of the program's folder as the working folder.
        const std::string folder = machine_.system().programFolder();
        machine_.shell().open(address, folder.substr(0, 3), SW_SHOWNORMAL);
    }
    void launchStartPage() override {
        const std::string page = controller_.switches().paginaPredefinita;
        if (!trimBlanks(page).empty()) ApriPagina(page);
    }
    void clearFirefoxSession() override {
        core::clearFirefoxSession(machine_.fileSystem(),
                                  core::PathProfiloFirefox(machine_.system().environment("APPDATA")));
    }
    bool timeSlotScheduleInForce() override { return false; }
    long long profileInUse() override { return controller_.profileInUse(); }
    bool logSwitch() override { return controller_.logSwitch(); }
    void keepNoticeWindowsOnTop() override {
        HWND notice = form_.noticeWindow();
        // No size, no move, show (67), and never activate: the notice must not
        // take the keyboard from the browser, or the next Ctrl+W would reach
        // the notice instead of the tab.
        if (notice && IsWindowVisible(notice)) {
            SetWindowPos(notice, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOMOVE | SWP_SHOWWINDOW | SWP_NOACTIVATE);
        }
    }

private:
    core::Controller& controller_;
    win32::MainForm& form_;
    win32::Machine& machine_;
};

int run() {
    win32::Machine& machine = win32::machine();
    Language language(machine.system().programFolder(), '\\');
    setProgramLanguage(&language);

    core::StoreEnvironment env{machine.registry(), machine.fileSystem(), machine.system(), machine.dialogs(),
                               language};
    core::Store store;
    platform::NamedMutexInstance instance;
    win32::MainForm form(language);
    if (!form.window()) return 1;
    machine.dialogs().setOwner(form.window());

    core::Controller controller({env, form, form, machine.processes(), machine.pump(), instance}, store);
    win32::BrowserReaders browsers(machine.processes(), machine.windows());
    ProgramHost host(controller, form, machine);
    enforce::Enforcement enforcement({store.connection, language, machine.processes(), machine.windows(),
                                      machine.keyboard(), browsers, browsers, machine.clock(), machine.pump(), form,
                                      host});
    controller.setProfileLists(&enforcement);
    form.setController(&controller);
    form.killTaskManager = [&] { controller.killTaskManager(); };
    form.openLogViewer = [&] {
        if (!core::ApriDatabase(env, store)) return;
        win32::LogFormContext context{store.connection, language, machine.dialogs(), machine.clock(),
                                      controller.logSwitch(), [&](bool on) { controller.setLogSwitch(on); }};
        win32::showLogForm(form.window(), context);
    };
    form.onTimer = [&](core::TimerId id) {
        switch (id) {
            case core::TimerId::SitiVietatiConsentiti:
                enforcement.tickSitiVietatiConsentiti();
                break;
            case core::TimerId::KillTaskManager:
                enforcement.tickKillTaskManager();
                break;
            case core::TimerId::LogSitiVisitati:
                enforcement.tickLogSitiVisitati();
                break;
            case core::TimerId::ChiudiFinestre:
                enforcement.tickChiudiFinestre();
                break;
            case core::TimerId::ProcessiVietati:
                enforcement.tickProcessiVietati();
                break;
            case core::TimerId::Esci:
                controller.tickEsci();
                break;
            default:
                // Opening the home page and the shell lockdown's timers belong
                // to parts of the program that are not built yet.
                form.setEnabled(id, false);
                break;
        }
    };

    if (controller.startUp() == core::Controller::StartResult::AnotherInstance) return 0;

    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        if (form.handleDialogMessage(msg)) continue;
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    return 0;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
    SetDllDirectoryW(L"");
    ombrix::win32::sendFailuresToDebugger();
    INITCOMMONCONTROLSEX icc{sizeof icc, ICC_STANDARD_CLASSES | ICC_WIN95_CLASSES};
    InitCommonControlsEx(&icc);
    int status = 1;
    try {
        status = run();
    } catch (...) {
        ombrix::platform::recordCurrentFailure();
        status = 1;
    }
    return status;
}
