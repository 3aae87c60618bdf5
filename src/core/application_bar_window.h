#pragma once
// The internal browser's application bar, which locking the shell shows in
// place of the task bar. An interface of its own, so that the shell lockdown
// and the internal browser each stand without the other.

namespace ombrix::core {

class ApplicationBar {
public:
    virtual ~ApplicationBar() = default;
    virtual void show() = 0;  // modeless
    virtual void unload() = 0;
};

}  // namespace ombrix::core
