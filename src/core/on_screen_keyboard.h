#pragma once
// frmTastiera as the rest of the program reaches it: the option's check box,
// the shell's unlocking and the task-bar mouse guard.

namespace ombrix::core {

class OnScreenKeyboard {
public:
    virtual ~OnScreenKeyboard() = default;
    // Loaded, its mouse hook installed, shown modeless without taking the focus.
    virtual void show() = 0;
    // Unhooked and hidden.
    virtual void hide() = 0;
    // Its look and its place again, above whatever came over it.
    virtual void reapply() = 0;
};

}  // namespace ombrix::core
