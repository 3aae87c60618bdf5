#include "support/form_translator.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace ombrix {
namespace {

using P = TextProperty;

// A form (and, through it, a control) with a chosen set of properties.
struct FakeForm : TranslatableForm {
    FakeForm(std::string name, std::set<P> props, std::optional<int> index = std::nullopt)
        : name_(std::move(name)), props_(std::move(props)), index_(index) {}
    std::string name() const override { return name_; }
    std::optional<int> index() const override { return index_; }
    bool has(P p) const override { return props_.count(p) > 0; }
    std::string get(P p) const override { return values.count(p) ? values.at(p) : std::string(); }
    bool set(P p, const std::string& v, int tab) override {
        if (p != P::TabCaption) return values[p] = v, true;
        return tabCount && tab < *tabCount && (tabCaptions[tab] = v, true);
    }
    std::optional<int> tabs() const override { return tabCount; }
    std::vector<TranslatableItem*> controls() override { return items; }

    std::map<P, std::string> values;
    std::map<int, std::string> tabCaptions;
    std::optional<int> tabCount;
    std::vector<TranslatableItem*> items;
    std::string name_;
    std::set<P> props_;
    std::optional<int> index_;
};

const std::set<P> kAll{P::Caption, P::ToolTipText, P::Tag};

// The form's own texts and tab captions apply even when empty; a control's
// empty translation keeps its design text.
TEST(FormTranslator, AppliesTheFormsSection) {
    const std::map<std::string, std::string> file{
        {"frmProva.Caption", "Prova"}, {"cmdOk.Caption", "Conferma"}, {"cmdOk.ToolTipText", "Salva e chiudi"},
        {"optScelta(1).Caption", "Seconda"}, {"tabSchede.TabCaption(0)", "Generale"}};
    FakeForm form("frmProva", kAll), ok("cmdOk", kAll), option("optScelta", {P::Caption}, 1),
        untranslated("lblNota", kAll), strip("tabSchede", {});
    form.values = {{P::Caption, "design caption"}, {P::Tag, "design tag"}};
    ok.values[P::Tag] = "keep me";
    untranslated.values[P::Caption] = "design text";
    strip.tabCount = 2;
    strip.tabCaptions = {{0, "a"}, {1, "b"}};
    form.items = {&ok, &option, &untranslated, &strip, nullptr};
    std::set<std::string> sections;
    translateForm(form, [&](const std::string& section, const std::string& key) {
        sections.insert(section);
        return file.count(key) ? file.at(key) : std::string();
    });
    EXPECT_EQ(sections, std::set<std::string>{"frmProva"});
    EXPECT_EQ(form.values, (std::map<P, std::string>{{P::Caption, "Prova"}, {P::ToolTipText, ""}, {P::Tag, ""}}));
    EXPECT_EQ(ok.values,
              (std::map<P, std::string>{{P::Caption, "Conferma"}, {P::ToolTipText, "Salva e chiudi"}, {P::Tag, "keep me"}}));
    EXPECT_EQ(option.get(P::Caption) + "|" + untranslated.get(P::Caption), "Seconda|design text");
    EXPECT_EQ(strip.tabCaptions, (std::map<int, std::string>{{0, "Generale"}, {1, ""}}));
    FakeForm empty("frmVuoto", kAll);  // a form without a Caption key keeps its caption
    translateForm(empty, [](const std::string&, const std::string&) { return std::string("x"); });
    EXPECT_EQ(empty.get(P::Caption) + "|" + empty.get(P::ToolTipText), "|x");
}

}  // namespace
}  // namespace ombrix
