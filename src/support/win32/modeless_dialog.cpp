#include "support/win32/modeless_dialog.h"

namespace ombrix::win32 {

bool ModelessDialog::create(int templateId, HWND owner, DLGPROC procedure, void* state, const char* formName,
                            std::vector<NamedControl> controls, Language& language) {
    if (dialog_) return true;
    dialog_.reset(CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(templateId), owner, procedure,
                                     reinterpret_cast<LPARAM>(state)));
    if (!dialog_) return false;
    translation_ = std::make_unique<DialogTranslation>(dialog_.get(), formName, std::move(controls));
    translation_->apply(language);
    return true;
}

void ModelessDialog::destroy() {
    translation_.reset();
    dialog_.reset();
}

}  // namespace ombrix::win32
