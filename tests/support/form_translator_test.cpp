#include "support/form_translator.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace ombrix {
namespace {

// A form (and, through it, a control) with a chosen set of properties.
class FakeForm : public TranslatableForm {
public:
    FakeForm(std::string name, std::set<TextProperty> props, std::optional<int> index = std::nullopt)
        : name_(std::move(name)), props_(std::move(props)), index_(index) {}
    std::string name() const override { return name_; }
    std::optional<int> index() const override { return index_; }
    bool has(TextProperty p) const override { return props_.count(p) > 0; }
    std::string get(TextProperty p) const override { return values.count(p) ? values.at(p) : std::string(); }
    bool set(TextProperty p, const std::string& v, int tab) override {
        if (p != TextProperty::TabCaption) {
            values[p] = v;
        } else if (tabCount && tab < *tabCount) {
            tabCaptions[tab] = v;
        } else {
            return false;
        }
        return true;
    }
    std::optional<int> tabs() const override { return tabCount; }
    std::vector<TranslatableItem*> controls() override { return items; }

    std::map<TextProperty, std::string> values;
    std::map<int, std::string> tabCaptions;
    std::optional<int> tabCount;
    std::vector<TranslatableItem*> items;

private:
    std::string name_;
    std::set<TextProperty> props_;
    std::optional<int> index_;
};

const std::set<TextProperty> kAll{TextProperty::Caption, TextProperty::ToolTipText, TextProperty::Tag};

// The form's own texts and tab captions apply even when empty; a control's
// empty translation keeps its design text.
TEST(FormTranslator, AppliesTheFormsSection) {
    const std::map<std::string, std::string> file{
        {"frmProva.Caption", "Prova"},          {"cmdOk.Caption", "Conferma"},
        {"cmdOk.ToolTipText", "Salva e chiudi"}, {"optScelta(1).Caption", "Seconda"},
        {"tabSchede.TabCaption(0)", "Generale"},
    };
    FakeForm form("frmProva", kAll), ok("cmdOk", kAll), option("optScelta", {TextProperty::Caption}, 1),
        untranslated("lblNota", kAll), strip("tabSchede", {});
    form.values = {{TextProperty::Caption, "design caption"}, {TextProperty::Tag, "design tag"}};
    ok.values[TextProperty::Tag] = "keep me";
    option.values[TextProperty::Caption] = "design";
    untranslated.values[TextProperty::Caption] = "design text";
    strip.tabCount = 2;
    strip.tabCaptions = {{0, "a"}, {1, "b"}};
    form.items = {&ok, &option, &untranslated, &strip, nullptr};

    std::set<std::string> sections;
    translateForm(form, [&](const std::string& section, const std::string& key) {
        sections.insert(section);
        return file.count(key) ? file.at(key) : std::string();
    });
    EXPECT_EQ(sections, std::set<std::string>{"frmProva"});
    EXPECT_EQ(form.values, (std::map<TextProperty, std::string>{{TextProperty::Caption, "Prova"},
                                                                {TextProperty::ToolTipText, ""},
                                                                {TextProperty::Tag, ""}}));
    EXPECT_EQ(ok.values, (std::map<TextProperty, std::string>{{TextProperty::Caption, "Conferma"},
                                                              {TextProperty::ToolTipText, "Salva e chiudi"},
                                                              {TextProperty::Tag, "keep me"}}));
    EXPECT_EQ(option.get(TextProperty::Caption), "Seconda");
    EXPECT_EQ(untranslated.get(TextProperty::Caption), "design text");
    EXPECT_EQ(strip.tabCaptions, (std::map<int, std::string>{{0, "Generale"}, {1, ""}}));

    FakeForm empty("frmVuoto", kAll);  // a form without a Caption key keeps its caption
    translateForm(empty, [](const std::string&, const std::string&) { return std::string("x"); });
    EXPECT_EQ(empty.get(TextProperty::Caption), "");
    EXPECT_EQ(empty.get(TextProperty::ToolTipText), "x");
}

}  // namespace
}  // namespace ombrix
