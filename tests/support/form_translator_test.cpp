#include "support/form_translator.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace ombrix {
namespace {

// A control or form with a chosen set of properties.
template <typename Base>
class FakeItemOf : public Base {
public:
    FakeItemOf(std::string name, std::set<TextProperty> props, std::optional<int> index = std::nullopt)
        : name_(std::move(name)), props_(std::move(props)), index_(index) {}
    std::string name() const override { return name_; }
    std::optional<int> index() const override { return index_; }
    bool has(TextProperty p) const override { return props_.count(p) > 0; }
    std::string get(TextProperty p) const override {
        const auto it = values.find(p);
        return it == values.end() ? std::string() : it->second;
    }
    bool set(TextProperty p, const std::string& v, int tab) override {
        if (p == TextProperty::TabCaption) {
            if (!tabCount || tab >= *tabCount) return false;
            tabCaptions[tab] = v;
            return true;
        }
        values[p] = v;
        return true;
    }
    std::optional<int> tabs() const override { return tabCount; }

    std::map<TextProperty, std::string> values;
    std::map<int, std::string> tabCaptions;
    std::optional<int> tabCount;

private:
    std::string name_;
    std::set<TextProperty> props_;
    std::optional<int> index_;
};

using FakeItem = FakeItemOf<TranslatableItem>;

class FakeForm : public FakeItemOf<TranslatableForm> {
public:
    using FakeItemOf::FakeItemOf;
    std::vector<TranslatableItem*> controls() override { return items; }
    std::vector<TranslatableItem*> items;
};

const std::set<TextProperty> kAll{TextProperty::Caption, TextProperty::ToolTipText, TextProperty::Tag};

std::vector<std::string> keysOf(const std::vector<TranslationKey>& keys) {
    std::vector<std::string> out;
    for (const auto& k : keys) out.push_back(k.key);
    return out;
}

TEST(FormTranslatorKeys, BuildsNamesIndexesAndSuffixes) {
    FakeItem plain("cmdLogin", kAll);
    EXPECT_EQ(keysOf(controlKeys(plain)),
              (std::vector<std::string>{"cmdLogin.Caption", "cmdLogin.ToolTipText", "cmdLogin.Tag"}));

    FakeItem member("optFascia", {TextProperty::Caption}, 2);
    EXPECT_EQ(keysOf(controlKeys(member)), (std::vector<std::string>{"optFascia(2).Caption"}));

    FakeItem notMember("lblX", {TextProperty::Caption}, -1);
    EXPECT_EQ(keysOf(controlKeys(notMember)), (std::vector<std::string>{"lblX.Caption"}));

    FakeItem strip("tabOpzioni", {}, std::nullopt);
    strip.tabCount = 2;
    EXPECT_EQ(keysOf(controlKeys(strip)), (std::vector<std::string>{"tabOpzioni.TabCaption(0)",
                                                                     "tabOpzioni.TabCaption(1)",
                                                                     "tabOpzioni.TabCaption(2)"}));
}

TEST(FormTranslator, AppliesTheFormsSection) {
    std::map<std::string, std::string> file{
        {"frmProva.Caption", "Prova"},
        {"cmdOk.Caption", "Conferma"},
        {"cmdOk.ToolTipText", "Salva e chiudi"},
        {"optScelta(1).Caption", "Seconda"},
        {"tabSchede.TabCaption(0)", "Generale"},
    };
    FakeForm form("frmProva", kAll);
    form.values[TextProperty::Caption] = "design caption";
    form.values[TextProperty::Tag] = "design tag";
    FakeItem ok("cmdOk", kAll);
    ok.values[TextProperty::Tag] = "keep me";
    FakeItem option("optScelta", {TextProperty::Caption}, 1);
    option.values[TextProperty::Caption] = "design";
    FakeItem untranslated("lblNota", kAll);
    untranslated.values[TextProperty::Caption] = "design text";
    FakeItem strip("tabSchede", {});
    strip.tabCount = 2;
    strip.tabCaptions = {{0, "a"}, {1, "b"}};
    form.items = {&ok, &option, &untranslated, &strip, nullptr};

    std::vector<std::string> sections;
    translateForm(form, [&](const std::string& section, const std::string& key) {
        sections.push_back(section);
        const auto it = file.find(key);
        return it == file.end() ? std::string() : it->second;
    });

    EXPECT_EQ(form.get(TextProperty::Caption), "Prova");
    EXPECT_EQ(form.get(TextProperty::Tag), "") << "the form's own texts apply even when empty";
    EXPECT_EQ(ok.get(TextProperty::Caption), "Conferma");
    EXPECT_EQ(ok.get(TextProperty::ToolTipText), "Salva e chiudi");
    EXPECT_EQ(ok.get(TextProperty::Tag), "keep me") << "an empty translation keeps the design text";
    EXPECT_EQ(option.get(TextProperty::Caption), "Seconda");
    EXPECT_EQ(untranslated.get(TextProperty::Caption), "design text");
    EXPECT_EQ(strip.tabCaptions[0], "Generale");
    EXPECT_EQ(strip.tabCaptions[1], "") << "tab captions apply even when empty";
    for (const auto& s : sections) EXPECT_EQ(s, "frmProva");
}

TEST(FormTranslator, FormWithoutCaptionKeepsIt) {
    FakeForm form("frmVuoto", kAll);
    translateForm(form, [](const std::string&, const std::string&) { return std::string("x"); });
    EXPECT_EQ(form.get(TextProperty::Caption), "");
    EXPECT_EQ(form.get(TextProperty::ToolTipText), "x");
}

}  // namespace
}  // namespace ombrix
