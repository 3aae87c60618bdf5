#pragma once
// The enforcement of the profile in use: its three lists, the blockers that
// judge the browsers' addresses, the forbidden processes and windows, the
// task manager, and the visited-sites log. A plain object the controller
// holds; the Win32 main window calls the tick of each timer from WM_TIMER,
// tests call them directly. Nothing it does throws out of a tick: a failed
// read counts as empty and the tick goes on.

#include <string>
#include <string_view>
#include <vector>

#include "core/database.h"
#include "core/profile_switches.h"
#include "core/timers.h"
#include "enforce/enforcement_host.h"
#include "enforce/site_list.h"
#include "platform/browsers.h"
#include "platform/clock.h"
#include "platform/input.h"
#include "platform/processes.h"
#include "platform/windows.h"

namespace ombrix {
class Language;
}

namespace ombrix::enforce {

// What one browser blocker judges of an address: the verdict of the Chrome,
// Edge and Firefox blockers, shared with "ombrixctl check".
struct Verdict {
    bool blocked = false;
    const char* message = nullptr;  // the notice's message when blocked
    std::size_t entry = kNoMatch;   // the first entry that matched, if any
};
[[nodiscard]] Verdict verdictAsChrome(const SiteList& list, bool sitiConsentiti, std::string_view address);

// The main form's holders, by their names.
struct Holders {
    std::string lblChrome, lblEdge, lblFirefox;  // the address last read
    std::string txtUltimaPaginaChrome, txtUltimaPaginaEdge, txtUltimaPaginaFirefox;  // the last page that passed
    std::string txtTitoloFinestraDaChiudere;  // the page being closed
    std::string UltimoSitoVisto;              // Chrome's last address (logged against)
    std::string UltimoSitoEdge, UltimoSitoFirefox;
    std::vector<std::string> lstWindows3;  // Internet Explorer addresses logged this session
};

class Enforcement final : public core::ProfileLists {
public:
    struct Machine {
        core::Database& db;
        Language& language;
        platform::Processes& processes;
        platform::WindowSystem& windows;
        platform::KeyboardInput& keyboard;
        platform::BrowserAddresses& browsers;
        platform::ShellBrowserWindows& shellWindows;
        platform::Clock& clock;
        platform::EventPump& pump;
        core::Timers& timers;
        EnforcementHost& host;
    };

    explicit Enforcement(Machine machine);

    // Called by the controller after each application of a profile, then the
    // three loaders in this order (the process list depends on the site timer).
    void setProfile(long long profileId, const core::ProfileSwitches& switches) override;
    void CaricaSitiVietatiConsentiti(long long profileId) override;
    void CaricaProcessiVietati() override;
    void CaricaFinestreVietate() override;
    void forgetLastAddress() override { holders_.UltimoSitoVisto.clear(); }
    void clearInternalBrowser() override { switches_.utilizzaBrowserInterno = false; }

    // The timers. A tick that lets events run is not entered again by the
    // same timer while it runs.
    void tickSitiVietatiConsentiti() noexcept;  // timerSitiVietatiConsentiti, 50 ms
    void tickProcessiVietati() noexcept;        // tmrProcessiVietati, 500 ms
    void tickChiudiFinestre() noexcept;         // tmrChiudiFinestre, 300 ms
    void tickKillTaskManager() noexcept;        // tmrKillTaskManager's kills and notices on top, 100 ms
    void tickLogSitiVisitati() noexcept;        // timerLogSitiVisitati, 250 ms

    // The blockers the site timer calls.
    void BloccaSitiDaElencoVietatiChrome();
    void BloccaSitiDaElencoVietatiEdge();
    void BloccaSitiDaElencoVietatiFirefox();
    void BloccaSitiDaElencoConsentitiChrome();
    void BloccaSitiDaElencoConsentitiEdge();
    void BloccaSitiDaElencoConsentitiFirefox();
    void BloccaSitiVietatiIE();
    void BloccaSitiVietatiIEFinestre();
    void BloccaSitiConsentitiIE();
    void BloccaSitiConsentitiIEFinestre();
    void ChiudiFinestreConSitiVietati();
    // Kept, and called by no timer.
    void BloccaSitiDaElencoConsentitiChromeOLD();
    void BloccaSitiDaElencoConsentitiChromeIndietro();
    void BloccaSitiDaElencoConsentitiFirefoxOLD();
    void BloccaSitiDaElencoVietatiOpera();
    void BloccaSitiDaElencoConsentitiOpera();
    [[nodiscard]] std::string TitoloChrome();

    // Ctrl+W to the active window, keys interleaved: Ctrl down, W down, Ctrl up, W up.
    void ChiudiScheda();
    // The window timer's walk.
    void ChiudiFinestreVietate();
    // Writes one visited address, unless the site list forbids it (forbidden
    // list) or does not allow it (allowed list); with no profile in use
    // everything is written.
    void MemorizzaSitoVisitato(const std::string& url);

    int KillProcess(std::string_view imageName);
    [[nodiscard]] bool IsProcessRunning(std::string_view imageName);

    // State, for the controller, the internal browser and tests.
    [[nodiscard]] const SiteList& ElencoSiti() const { return elencoSiti_; }
    [[nodiscard]] bool SitiConsentiti() const { return sitiConsentiti_; }
    // With the spare element: the names are [0, size() - 1).
    [[nodiscard]] const std::vector<std::string>& ElencoProcessi() const { return elencoProcessi_; }
    [[nodiscard]] const std::vector<std::string>& ElencoFinestre() const { return elencoFinestre_; }
    [[nodiscard]] const core::ProfileSwitches& switches() const { return switches_; }
    [[nodiscard]] Holders& holders() { return holders_; }
    [[nodiscard]] const Holders& holders() const { return holders_; }

private:
    enum class Which { Chrome, Edge, Firefox };
    struct Side {
        std::string& lbl;
        std::string& ultimaPagina;
        std::string& ultimoSito;
        const char* process;
        bool firefox;
    };
    Side side(Which w);
    std::string readAddress(Which w);
    void bloccaVietati(Which w);
    // Reads the address and accepts a page the allowed list holds; true when
    // the page is outside the list and must go.
    bool outsideAllowedList(Which w, Side& s);
    void bloccaConsentiti(Which w);
    void bloccaConsentitiOld(Which w);
    void acceptPage(Side& s);
    void killBrowser(const Side& s);
    void closeInternetExplorer();
    void killUntilGone(std::string_view imageName);
    void notify(const std::string& text, int kind);
    [[nodiscard]] std::string text(const char* id);
    [[nodiscard]] std::string startPage() const { return switches_.paginaPredefinita; }

    Machine m_;
    core::ProfileSwitches switches_;
    SiteList elencoSiti_;
    bool sitiConsentiti_ = false;
    std::vector<std::string> elencoProcessi_{std::string()};
    std::vector<std::string> elencoFinestre_{std::string()};
    bool browserGestito_ = false;
    Holders holders_;
    struct Busy {
        bool sites = false, processes = false, windows = false, taskManager = false, log = false;
    } busy_;
};

}  // namespace ombrix::enforce
