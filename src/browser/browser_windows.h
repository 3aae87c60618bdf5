#pragma once
// The internal browser's open windows, as the program around them sees
// them: how many there are, opening one more, and what they show.

#include <string>
#include <vector>

namespace ombrix::browser {

class BrowserWindows {
public:
    virtual ~BrowserWindows() = default;
    [[nodiscard]] virtual int count() = 0;
    // Opens one more window at the home page; nothing when it cannot.
    virtual void open() = 0;
    // The address each open window shows.
    [[nodiscard]] virtual std::vector<std::string> addresses() = 0;
    // Each open window above the other programs' windows, none activated.
    virtual void keepOnTop() = 0;
};

}  // namespace ombrix::browser
