#include "enforce/process_timer.h"

#include <algorithm>

#include "enforce/profile_lists.h"
#include "platform/failures.h"
#include "platform/text.h"
#include "support/messages.h"

namespace ombrix::enforce {
namespace {

bool isOneOf(std::string_view lowered, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), lowered) != names.end();
}

}  // namespace

void ProcessTimer::tick() noexcept {
    const Entered entered(*this);
    if (!entered.first()) return;
    platform::guarded([&] { m_.pump.doEvents(); });
    browserHandedOver_ = false;
    // A copy: letting events run may reload the list.
    const std::vector<std::string> names = p_.processNames;
    for (std::size_t i = 0; i + 1 < names.size(); ++i) {
        platform::guarded([&] {
            const std::string& name = names[i];
            if (KillForbiddenProcess(name) == 0) return;
            reportEvent(core::EventId::ProgramEnded, {name});
            const std::string lowered = lowerText(name);
            if (std::find(kInternalBrowserOnly.begin(), kInternalBrowserOnly.end(), lowered) ==
                kInternalBrowserOnly.end()) {
                notify(text(msg::ForbiddenProgramClosed) + " " + name, kNoticeProcess);
                return;
            }
            // Only the first browser of a tick is handed over.
            if (browserHandedOver_) return;
            if (p_.switches.maxProtection && isOneOf(lowered, {"chrome.exe", "safari.exe", "microsoftedge.exe"})) {
                return;
            }
            killForbiddenUntilGone(name);
            if (p_.switches.internalBrowser) {
                if (m_.host.internalBrowserWindowCount() < 5) m_.host.openInternalBrowser();
            } else if (isOneOf(lowered, {"opera.exe", "safari.exe", "chrome.exe", "microsoftedge.exe"})) {
                if (m_.timers.isEnabled(core::TimerId::SiteCheck)) m_.host.launchStartPage();
                const MessageId id = lowered == "opera.exe"    ? msg::OperaNotAllowedClosed
                                     : lowered == "safari.exe" ? msg::SafariNotAllowedClosed
                                     : lowered == "chrome.exe" ? msg::ChromeNotAllowedClosed
                                                               : MessageId{};
                if (id) notify(text(id), kNoticeProcess);
            }
            browserHandedOver_ = true;
        });
    }
}

}  // namespace ombrix::enforce
