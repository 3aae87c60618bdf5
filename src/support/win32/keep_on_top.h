#pragma once
// Keeping one of the program's windows above the others from a frequent
// timer, without ever activating it: the keys the user types go on reaching
// the window they were typing in.

#include <windows.h>

namespace ombrix::win32 {

// Whose windows may not stay above `window`.
enum class Above {
    Any,            // none at all (the notice, above the program's own windows too)
    OtherPrograms,  // other processes' (it may stay below the program's own)
};

// Moves the window to the top of the topmost band when it is not there yet
// or a visible window it must not stay below lies above it; otherwise it is
// left alone, so nothing around it repaints on every tick. A hidden or
// minimised window is left as it is.
void keepOnTop(HWND window, Above above);

}  // namespace ombrix::win32
