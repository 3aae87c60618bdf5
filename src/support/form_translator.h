#pragma once
// The form translator: captions, tool tips, tags and tab captions of a form
// and its controls come from the form's section of the language file. The
// keys are built here; a dialog supplies a TranslatableForm over its controls.

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ombrix {

enum class TextProperty { Caption, ToolTipText, Tag, TabCaption };

// One property that a form or a control offers to the translator.
class TranslatableItem {
public:
    virtual ~TranslatableItem() = default;
    [[nodiscard]] virtual std::string name() const = 0;
    // The index of a member of a control array; nullopt (or negative) otherwise.
    [[nodiscard]] virtual std::optional<int> index() const { return std::nullopt; }
    [[nodiscard]] virtual bool has(TextProperty property) const = 0;
    [[nodiscard]] virtual std::string get(TextProperty property) const = 0;
    // `tab` is used only with TabCaption. Returns false when it cannot be set
    // (no such tab); the translator ignores that.
    virtual bool set(TextProperty property, const std::string& value, int tab = 0) = 0;
    // The value of the control's Tabs count, when it has one.
    [[nodiscard]] virtual std::optional<int> tabs() const { return std::nullopt; }
};

class TranslatableForm : public TranslatableItem {
public:
    [[nodiscard]] virtual std::vector<TranslatableItem*> controls() = 0;
};

// One assignment the translator makes: the key read from the form's section,
// the property it sets, and whether an empty value is applied too.
struct TranslationKey {
    std::string key;
    TextProperty property;
    int tab = 0;
    bool applyEmpty = false;
};

// The keys for the form itself ("<form>.Caption", ".ToolTipText", ".Tag"):
// applied even when empty; the caption only when the form has one now.
[[nodiscard]] std::vector<TranslationKey> formKeys(const TranslatableItem& form);
// The keys for one control: prefix "<name>" or "<name>(<index>)", suffixes
// as above (applied only when not empty), then ".TabCaption(i)" for i from 0
// up to and including the Tabs value (applied even when empty).
[[nodiscard]] std::vector<TranslationKey> controlKeys(const TranslatableItem& control);

// Applies the language file to a form. `lookup(section, key)` returns the
// value ("" when missing); the section is the form's name.
void translateForm(TranslatableForm& form,
                   const std::function<std::string(const std::string& section, const std::string& key)>& lookup);

}  // namespace ombrix
