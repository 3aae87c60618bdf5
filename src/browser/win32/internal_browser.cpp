#include "browser/win32/internal_browser.h"

#include "support/win32/keep_on_top.h"

namespace ombrix::win32 {

InternalBrowser::InternalBrowser(BrowserFormContext context, std::function<std::optional<RECT>()> kioskPlace)
    : context_(std::move(context)), kioskPlace_(std::move(kioskPlace)) {
    context_.openPopup = [this] { return openWindow(false); };
}

InternalBrowser::~InternalBrowser() { closeAll(); }

// A window the user closed is forgotten here, never inside its own
// messages: the form is still running them when it closes.
void InternalBrowser::prune() {
    std::erase_if(windows_, [](const std::unique_ptr<BrowserForm>& w) { return !w->isOpen(); });
}

int InternalBrowser::count() {
    prune();
    return static_cast<int>(windows_.size());
}

void InternalBrowser::open() { openWindow(true); }

BrowserForm* InternalBrowser::openWindow(bool goHome) {
    prune();
    auto form = std::make_unique<BrowserForm>(context_);
    const std::optional<RECT> place = kioskPlace_ ? kioskPlace_() : std::nullopt;
    if (!form->open(goHome, place ? &*place : nullptr)) return nullptr;
    windows_.push_back(std::move(form));
    return windows_.back().get();
}

std::vector<std::string> InternalBrowser::addresses() {
    std::vector<std::string> out;
    for (const auto& w : windows_) {
        if (w->isOpen()) out.push_back(w->address());
    }
    return out;
}

void InternalBrowser::keepOnTop() {
    prune();
    for (const auto& w : windows_) win32::keepOnTop(w->window(), Above::OtherPrograms);
}

bool InternalBrowser::handleMessage(MSG& msg) {
    // One window at most is the message's; what it runs may open another
    // (a pop-up), so the list is not walked any further.
    for (const auto& w : windows_) {
        HWND d = w->window();
        if (d && (msg.hwnd == d || IsChild(d, msg.hwnd))) return w->handleMessage(msg);
    }
    return false;
}

void InternalBrowser::closeAll() {
    for (auto& w : windows_) w->close();
    windows_.clear();
}

}  // namespace ombrix::win32
