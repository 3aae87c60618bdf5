#include "enforce/timer_part.h"

#include "enforce/site_log.h"
#include "platform/failures.h"
#include "platform/process_control.h"
#include "support/language.h"
#include "support/messages.h"

namespace ombrix::enforce {

std::string TimerPart::text(MessageId id) { return m_.language.messageText(id); }

void TimerPart::notify(const std::string& message, int kind) { m_.host.showMessage(message, kind); }

int TimerPart::KillProcess(std::string_view imageName) { return platform::KillProcess(m_.processes, imageName); }

bool TimerPart::IsProcessRunning(std::string_view imageName) {
    return platform::IsProcessRunning(m_.processes, imageName);
}

void TimerPart::killUntilGone(std::string_view imageName) {
    platform::killUntilGone(m_.processes, m_.pump, imageName);
}

int TimerPart::KillForbiddenProcess(std::string_view name) {
    return platform::KillForbiddenProcess(m_.processes, name);
}

void TimerPart::killForbiddenUntilGone(std::string_view name) {
    platform::killForbiddenUntilGone(m_.processes, m_.pump, name);
}

void TimerPart::reportEvent(core::EventId id, std::vector<std::string> data) {
    if (!m_.events) return;
    data.push_back(p_.name.empty() ? "#" + std::to_string(p_.id) : p_.name);
    m_.events->reportOnce(id, std::move(data));
}

void TimerPart::reportPageBlocked(std::string_view address, std::string_view browser) {
    reportEvent(core::EventId::PageBlocked, {loggedUrl(address), std::string(browser)});
}

void TimerPart::logVisitedSite(const std::string& url) {
    // An empty address is no visit: a browser that closed reads as "".
    if (url.empty()) return;
    if (m_.host.profileInUse() != 0) {
        m_.pump.doEvents();
        const bool matched = p_.sites.firstMatch(url) != kNoMatch;
        // A forbidden page is never logged; with an allowed list, only
        // pages it allows are.
        if (matched != p_.allowedList) return;
    }
    // A row the log refuses is lost (and traced); the enforcement goes on.
    (void)m_.log.write(m_.clock.now(), url);
}

}  // namespace ombrix::enforce
