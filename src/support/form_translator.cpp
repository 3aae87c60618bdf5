#include "support/form_translator.h"

namespace ombrix {
namespace {

constexpr struct {
    TextProperty property;
    const char* suffix;
} kSuffixes[] = {
    {TextProperty::Caption, ".Caption"},
    {TextProperty::ToolTipText, ".ToolTipText"},
    {TextProperty::Tag, ".Tag"},
};

}  // namespace

std::vector<TranslationKey> formKeys(const TranslatableItem& form) {
    std::vector<TranslationKey> keys;
    for (const auto& s : kSuffixes) {
        if (!form.has(s.property)) continue;
        if (s.property == TextProperty::Caption && form.get(TextProperty::Caption).empty()) continue;
        keys.push_back({form.name() + s.suffix, s.property, 0, true});
    }
    return keys;
}

std::vector<TranslationKey> controlKeys(const TranslatableItem& control) {
    std::string prefix = control.name();
    const auto index = control.index();
    if (index && *index >= 0) prefix += "(" + std::to_string(*index) + ")";
    std::vector<TranslationKey> keys;
    for (const auto& s : kSuffixes) {
        if (control.has(s.property)) keys.push_back({prefix + s.suffix, s.property, 0, false});
    }
    if (const auto tabs = control.tabs()) {
        // One past the last tab on purpose: that assignment fails and is ignored.
        for (int i = 0; i <= *tabs; ++i) {
            keys.push_back({control.name() + ".TabCaption(" + std::to_string(i) + ")", TextProperty::TabCaption, i, true});
        }
    }
    return keys;
}

void translateForm(TranslatableForm& form,
                   const std::function<std::string(const std::string& section, const std::string& key)>& lookup) {
    const std::string section = form.name();
    auto apply = [&](TranslatableItem& item, const std::vector<TranslationKey>& keys) {
        for (const auto& k : keys) {
            const std::string value = lookup(section, k.key);
            if (value.empty() && !k.applyEmpty) continue;
            item.set(k.property, value, k.tab);
        }
    };
    apply(form, formKeys(form));
    for (TranslatableItem* control : form.controls()) {
        if (control) apply(*control, controlKeys(*control));
    }
}

}  // namespace ombrix
