#pragma once
// A modeless dialog of the program's resources with its translation, the
// shape the splash, the notice and the closing form share: made on demand,
// translated at once, and given back translation first (its tool tips belong
// to the dialog).

#include <windows.h>

#include <memory>
#include <vector>

#include "platform/win32/handles.h"
#include "support/win32/dialog_translation.h"

namespace ombrix {
class Language;
}

namespace ombrix::win32 {

class ModelessDialog {
public:
    // Creates the dialog with `state` for its procedure and translates it as
    // `formName`; false, and nothing made, when the system refuses.
    bool create(int templateId, HWND owner, DLGPROC procedure, void* state, const char* formName,
                std::vector<NamedControl> controls, Language& language);
    void destroy();

    [[nodiscard]] HWND get() const { return dialog_.get(); }
    [[nodiscard]] explicit operator bool() const { return static_cast<bool>(dialog_); }

private:
    UniqueWindow dialog_;
    std::unique_ptr<DialogTranslation> translation_;
};

}  // namespace ombrix::win32
