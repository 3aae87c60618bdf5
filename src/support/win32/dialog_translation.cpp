#include "support/win32/dialog_translation.h"

#include <commctrl.h>

#include "platform/win32/wide.h"
#include "support/language.h"

namespace ombrix::win32 {

std::string windowText(HWND window) {
    const int n = GetWindowTextLengthW(window);
    std::wstring text(static_cast<std::size_t>(n) + 1, L'\0');
    const int got = GetWindowTextW(window, text.data(), n + 1);
    text.resize(static_cast<std::size_t>(got > 0 ? got : 0));
    return fromWide(text);
}

void setWindowText(HWND window, const std::string& text) { SetWindowTextW(window, toWide(text).c_str()); }

std::string comboItemText(HWND combo, LRESULT index) {
    const LRESULT n = SendMessageW(combo, CB_GETLBTEXTLEN, static_cast<WPARAM>(index), 0);
    if (n <= 0) return {};
    std::wstring text(static_cast<std::size_t>(n) + 1, L'\0');
    SendMessageW(combo, CB_GETLBTEXT, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(text.data()));
    text.resize(wcslen(text.c_str()));
    return fromWide(text);
}

RECT dialogUnits(HWND dialog, int left, int top, int right, int bottom) {
    RECT r{left, top, right, bottom};
    MapDialogRect(dialog, &r);
    return r;
}

void placeControl(HWND control, int x, int y, int width, int height) {
    SetWindowPos(control, nullptr, x, y, width > 0 ? width : 0, height > 0 ? height : 0, SWP_NOZORDER | SWP_NOACTIVATE);
}

void keepAboveOwner(HWND dialog) {
    const HWND owner = GetWindow(dialog, GW_OWNER);
    if (owner && (GetWindowLongW(owner, GWL_EXSTYLE) & WS_EX_TOPMOST)) {
        SetWindowPos(dialog, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
    }
}

// One control or menu entry, as the translator sees it.
class DialogTranslation::Item : public TranslatableItem {
public:
    Item(DialogTranslation& owner, const NamedControl& c, bool menuEntry) : owner_(owner), c_(c), menu_(menuEntry) {}
    std::string name() const override { return c_.name; }
    std::optional<int> index() const override { return c_.index >= 0 ? std::optional<int>(c_.index) : std::nullopt; }
    bool has(TextProperty p) const override {
        if (menu_) return p == TextProperty::Caption || p == TextProperty::Tag;
        if (p == TextProperty::Caption) return hasCaption();
        return p != TextProperty::TabCaption;
    }
    std::string get(TextProperty p) const override {
        switch (p) {
            case TextProperty::Caption: return menu_ ? menuText() : windowText(GetDlgItem(owner_.dialog_, c_.id));
            case TextProperty::ToolTipText: return owner_.toolTip(c_.id);
            case TextProperty::Tag: return owner_.tag(c_.id);
            default: return {};
        }
    }
    bool set(TextProperty p, const std::string& value, int) override {
        switch (p) {
            case TextProperty::Caption:
                if (menu_) {
                    const std::wstring w = toWide(value);
                    return ModifyMenuW(owner_.menu_, static_cast<UINT>(c_.id), MF_BYCOMMAND | MF_STRING,
                                       static_cast<UINT_PTR>(c_.id), w.c_str()) != FALSE;
                }
                setWindowText(GetDlgItem(owner_.dialog_, c_.id), value);
                return true;
            case TextProperty::ToolTipText: {
                owner_.tips_[c_.id] = value;
                if (!owner_.tooltip_) return false;
                std::wstring w = toWide(value);
                TOOLINFOW ti{};
                ti.cbSize = sizeof ti;
                ti.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
                ti.hwnd = owner_.dialog_;
                ti.uId = reinterpret_cast<UINT_PTR>(GetDlgItem(owner_.dialog_, c_.id));
                ti.lpszText = w.data();
                SendMessageW(owner_.tooltip_.get(), TTM_DELTOOLW, 0, reinterpret_cast<LPARAM>(&ti));
                if (!value.empty()) SendMessageW(owner_.tooltip_.get(), TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&ti));
                return true;
            }
            case TextProperty::Tag:
                owner_.tags_[c_.id] = value;
                return true;
            default:
                return false;
        }
    }

private:
    // Text and combo boxes hold what the user types, not a caption: a language
    // file must never write into them (a password box least of all).
    bool hasCaption() const {
        wchar_t cls[32] = {};
        GetClassNameW(GetDlgItem(owner_.dialog_, c_.id), cls, 32);
        for (const wchar_t* typed : {L"Edit", L"ComboBox", L"ComboBoxEx32", L"RichEdit20W", L"RICHEDIT50W"}) {
            if (lstrcmpiW(cls, typed) == 0) return false;
        }
        return true;
    }
    std::string menuText() const {
        wchar_t buffer[256] = {};
        GetMenuStringW(owner_.menu_, static_cast<UINT>(c_.id), buffer, 256, MF_BYCOMMAND);
        return fromWide(buffer);
    }
    DialogTranslation& owner_;
    NamedControl c_;
    bool menu_;
};

class DialogTranslation::Form : public TranslatableForm {
public:
    explicit Form(DialogTranslation& owner) : owner_(owner) {
        for (const auto& c : owner.controls_) items_.push_back(std::make_unique<Item>(owner, c, false));
        if (owner.menu_) {
            for (const auto& c : owner.menuEntries_) items_.push_back(std::make_unique<Item>(owner, c, true));
        }
    }
    std::string name() const override { return owner_.formName_; }
    bool has(TextProperty p) const override { return p != TextProperty::TabCaption; }
    std::string get(TextProperty p) const override {
        if (p == TextProperty::Caption) return windowText(owner_.dialog_);
        if (p == TextProperty::Tag) return owner_.formTag_;
        if (p == TextProperty::ToolTipText) return owner_.formTip_;
        return {};
    }
    bool set(TextProperty p, const std::string& value, int) override {
        if (p == TextProperty::Caption) setWindowText(owner_.dialog_, value);
        else if (p == TextProperty::Tag) owner_.formTag_ = value;
        else if (p == TextProperty::ToolTipText) owner_.formTip_ = value;
        return true;
    }
    std::vector<TranslatableItem*> controls() override {
        std::vector<TranslatableItem*> out;
        for (auto& i : items_) out.push_back(i.get());
        return out;
    }

private:
    DialogTranslation& owner_;
    std::vector<std::unique_ptr<Item>> items_;
};

DialogTranslation::DialogTranslation(HWND dialog, std::string formName, std::vector<NamedControl> controls, HMENU menu,
                                     std::vector<NamedControl> menuEntries)
    : dialog_(dialog),
      formName_(std::move(formName)),
      controls_(std::move(controls)),
      menu_(menu),
      menuEntries_(std::move(menuEntries)) {
    tooltip_.reset(CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP, CW_USEDEFAULT,
                               CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, dialog, nullptr, GetModuleHandleW(nullptr),
                               nullptr));
    if (tooltip_) SendMessageW(tooltip_.get(), TTM_SETMAXTIPWIDTH, 0, 400);
}

DialogTranslation::~DialogTranslation() = default;

void DialogTranslation::apply(Language& language) {
    Form form(*this);
    translateForm(form, [&](const std::string& section, const std::string& key) {
        return language.formValue(section, key);
    });
}

std::string DialogTranslation::tag(int id) const {
    const auto it = tags_.find(id);
    return it == tags_.end() ? std::string() : it->second;
}

std::string DialogTranslation::toolTip(int id) const {
    const auto it = tips_.find(id);
    return it == tips_.end() ? std::string() : it->second;
}

}  // namespace ombrix::win32
