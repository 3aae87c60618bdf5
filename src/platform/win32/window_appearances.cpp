#include "platform/win32/window_appearances.h"

#include "platform/failures.h"

namespace ombrix::win32 {
namespace {

WindowAppearances* g_listener = nullptr;

}  // namespace

WindowAppearances::WindowAppearances(std::function<void()> onAppeared) : onAppeared_(std::move(onAppeared)) {
    if (g_listener != nullptr) return;
    // Creation as well as showing: Wine tells another program's windows
    // only as they are created, and a forbidden one may as well go then.
    hook_.reset(SetWinEventHook(EVENT_OBJECT_CREATE, EVENT_OBJECT_SHOW, nullptr, &WindowAppearances::onEvent, 0, 0,
                                WINEVENT_OUTOFCONTEXT | WINEVENT_SKIPOWNPROCESS));
    if (hook_) g_listener = this;
}

// The hook goes after the slot is emptied: its events come only between
// two messages of this thread, never in between.
WindowAppearances::~WindowAppearances() {
    if (g_listener == this) g_listener = nullptr;
}

void CALLBACK WindowAppearances::onEvent(HWINEVENTHOOK, DWORD event, HWND window, LONG object, LONG child, DWORD,
                                         DWORD) {
    // The window itself, not a caret or a cursor, and a top-level one: a
    // program's child controls show by the dozen.
    if (event != EVENT_OBJECT_CREATE && event != EVENT_OBJECT_SHOW) return;
    if (object != OBJID_WINDOW || child != CHILDID_SELF || window == nullptr) return;
    if (GetAncestor(window, GA_PARENT) != GetDesktopWindow()) return;
    if (g_listener != nullptr && g_listener->onAppeared_) platform::guarded([] { g_listener->onAppeared_(); });
}

}  // namespace ombrix::win32
