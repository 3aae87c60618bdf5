#pragma once
// The main form's timers. The controller and the enforcement switch them on
// and off through Timers; the Win32 main window maps each to SetTimer, and
// tests record the switches. Each timer's name and interval are in kTimers.

#include <array>
#include <cstdint>
#include <string_view>

namespace ombrix::core {

enum class TimerId {
    SiteCheck,           // judges the browsers' addresses
    KillTaskManager,     // ends the task manager; checks the time slots
    SiteLog,             // writes the visited-sites log
    CloseWindows,        // closes forbidden windows
    ForbiddenProcesses,  // ends forbidden processes
    LaunchHomePage,      // opens the home page, one shot
    MetroKiller,         // closes the Start screen, one shot
    HideDesktop,         // hides the desktop's icons, one shot
    AwaitData,           // waits for a browser's data
    Exit,                // the shutdown, one shot
    Count
};

struct TimerEntry {
    TimerId id;
    std::string_view name;
    std::uint32_t intervalMs;
};

inline constexpr std::array<TimerEntry, static_cast<std::size_t>(TimerId::Count)> kTimers = {{
    {TimerId::SiteCheck, "timerSitiVietatiConsentiti", 50},
    {TimerId::KillTaskManager, "tmrKillTaskManager", 100},
    {TimerId::SiteLog, "timerLogSitiVisitati", 250},
    {TimerId::CloseWindows, "tmrChiudiFinestre", 300},
    {TimerId::ForbiddenProcesses, "tmrProcessiVietati", 500},
    {TimerId::LaunchHomePage, "tmrLanciaPaginaIniziale", 500},
    {TimerId::MetroKiller, "tmrMetroKiller", 3000},
    {TimerId::HideDesktop, "tmrNancondiDesktop", 3000},
    {TimerId::AwaitData, "tmrAttesaDati", 6000},
    {TimerId::Exit, "tmrEsci", 100},
}};

[[nodiscard]] constexpr const TimerEntry& timerEntry(TimerId id) { return kTimers[static_cast<std::size_t>(id)]; }

// All timers start disabled.
class Timers {
public:
    virtual ~Timers() = default;
    virtual void setEnabled(TimerId id, bool enabled) = 0;
    [[nodiscard]] virtual bool isEnabled(TimerId id) const = 0;
};

}  // namespace ombrix::core
