#include "enforce/window_timer.h"

#include "enforce/profile_lists.h"
#include "platform/failures.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix::enforce {

void WindowTimer::closeForbiddenWindows() {
    const std::vector<std::string> titles = p_.windowTitles;
    if (titles.size() < 2) return;  // the last entry is never searched
    std::vector<std::string> searched;
    searched.reserve(titles.size() - 1);
    for (std::size_t i = 0; i + 1 < titles.size(); ++i) {
        const bool silent = titles[i].rfind(kSilentMark, 0) == 0;
        // A blank title finds nothing: it would name some untitled window of any program.
        searched.push_back(silent ? replaceAll(titles[i], kSilentMark, "") : titles[i]);
    }
    const std::vector<platform::WindowId> found = m_.windows.findByTitles(searched);
    for (std::size_t i = 0; i < searched.size() && i < found.size(); ++i) {
        const platform::WindowId window = found[i];
        if (window == 0) continue;
        m_.windows.show(window, platform::ShowCommand::Normal);
        m_.windows.postClose(window);
        // The silent ones are the browsers' own prompts, nothing a pupil opened.
        if (titles[i].rfind(kSilentMark, 0) != 0) {
            reportEvent(core::EventId::WindowClosed, {titles[i]});
            notify(text(msg::ForbiddenWindowClosed) + " " + titles[i], kNoticeWindow);
        }
    }
}

void WindowTimer::tick() noexcept {
    const Entered entered(*this);
    if (!entered.first()) return;
    platform::guarded([&] { closeForbiddenWindows(); });
}

}  // namespace ombrix::enforce
