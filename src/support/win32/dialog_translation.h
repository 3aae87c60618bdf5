#pragma once
// The form translator applied to a real dialog: the dialog's controls and
// menu entries are known by the names the language file uses.

#include <windows.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/win32/handles.h"
#include "support/form_translator.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

struct NamedControl {
    int id;
    const char* name;
    int index = -1;  // member of a control array when >= 0
};

// Owns the tool tips and tags of one dialog. Keep it as long as the dialog.
class DialogTranslation {
public:
    DialogTranslation(HWND dialog, std::string formName, std::vector<NamedControl> controls, HMENU menu = nullptr,
                      std::vector<NamedControl> menuEntries = {});
    ~DialogTranslation();

    // Reads the form's section of the language file and applies it.
    void apply(Language& language);

    [[nodiscard]] std::string tag(int id) const;
    [[nodiscard]] std::string toolTip(int id) const;

private:
    class Item;
    class Form;
    HWND dialog_;
    std::string formName_;
    std::vector<NamedControl> controls_;
    HMENU menu_;
    std::vector<NamedControl> menuEntries_;
    UniqueWindow tooltip_;
    std::map<int, std::string> tags_;
    std::map<int, std::string> tips_;
    std::string formTag_;
    std::string formTip_;
    friend class Item;
    friend class Form;
};

// A form opened over a form that is kept on top must be on top as well, or it
// opens behind its owner.
void keepAboveOwner(HWND dialog);

// Window text as UTF-8, and back.
[[nodiscard]] std::string windowText(HWND window);
void setWindowText(HWND window, const std::string& text);
// The text of a combo box's list item; "" when there is none.
[[nodiscard]] std::string comboItemText(HWND combo, LRESULT index);

// Dialog units in this dialog's pixels: a layout that follows its font and DPI.
[[nodiscard]] RECT dialogUnits(HWND dialog, int left, int top, int right, int bottom);
// Moves and sizes a control, leaving the z-order and the activation alone.
void placeControl(HWND control, int x, int y, int width, int height);

}  // namespace ombrix::win32
