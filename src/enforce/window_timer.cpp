#include "enforce/window_timer.h"

#include "enforce/profile_lists.h"
#include "platform/failures.h"
#include "platform/text.h"

namespace ombrix::enforce {

void WindowTimer::ChiudiFinestreVietate() {
    const std::vector<std::string> titles = p_.elencoFinestre;
    for (std::size_t i = 0; i + 1 < titles.size(); ++i) {
        const std::string& title = titles[i];
        const bool silent = title.rfind(kSilentMark, 0) == 0;
        const std::string searched = silent ? replaceAll(title, kSilentMark, "") : title;
        // A blank title would find some untitled window of any program.
        if (searched.empty()) continue;
        const platform::WindowId window = m_.windows.findByTitle(searched);
        if (window == 0) continue;
        m_.windows.show(window, platform::ShowCommand::Normal);
        m_.windows.postClose(window);
        if (!silent) notify(text("0174") + " " + title, kNoticeWindow);
    }
}

void WindowTimer::tick() noexcept {
    const Entered entered(*this);
    if (!entered.first()) return;
    platform::guarded([&] { ChiudiFinestreVietate(); });
}

}  // namespace ombrix::enforce
