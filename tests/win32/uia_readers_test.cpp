// The UI Automation side of the readers, through a fake automation object:
// Wine cannot create the real one.
#include <gtest/gtest.h>

#include <windows.h>
#include <ole2.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include "enforce/win32/accessibility_win32.h"
#include "enforce/win32/uia.h"
#include "platform/win32/handles.h"

namespace ombrix::win32 {
namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#define OMBRIX_NOT_USED(n) HRESULT STDMETHODCALLTYPE notUsed##n() override { return E_NOTIMPL; }

template <typename Interface>
struct Counted : Interface {  // owned by the test: a release never deletes
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override { return *out = this, S_OK; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

// A condition: properties that must all hold.
using Properties = std::map<int, std::variant<int, std::wstring>>;
struct FakeCondition final : Counted<uia::IUIAutomationCondition> {
    Properties wanted;
};

struct FakeElement final : Counted<uia::IUIAutomationElement> {
    Properties properties;
    bool focused = false, gone = false;
    std::vector<FakeElement*> descendants;  // in tree order, held by the test
    int scope = -1;                         // of the last search

    OMBRIX_NOT_USED(03) OMBRIX_NOT_USED(04) OMBRIX_NOT_USED(06) OMBRIX_NOT_USED(07) OMBRIX_NOT_USED(08)
    OMBRIX_NOT_USED(09)
    HRESULT STDMETHODCALLTYPE FindFirst(int searchScope, uia::IUIAutomationCondition* condition,
                                        uia::IUIAutomationElement** found) override {
        scope = searchScope;
        const auto& wanted = static_cast<FakeCondition*>(condition)->wanted;
        const auto it = std::ranges::find_if(descendants, [&](FakeElement* e) {
            return std::ranges::all_of(wanted, [&](const auto& w) {
                return e->properties.count(w.first) > 0 && e->properties.at(w.first) == w.second;
            });
        });
        *found = it == descendants.end() ? nullptr : *it;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetCurrentPropertyValue(int property, VARIANT* value) override {
        VariantInit(value);
        if (gone) return static_cast<HRESULT>(0x80040201);  // UIA_E_ELEMENTNOTAVAILABLE
        if (property == uia::kHasKeyboardFocusProperty) {
            value->vt = VT_BOOL;
            value->boolVal = focused ? VARIANT_TRUE : VARIANT_FALSE;
        } else if (properties.count(property) > 0) {
            value->vt = VT_BSTR;
            value->bstrVal = SysAllocString(std::get<std::wstring>(properties.at(property)).c_str());
        }
        return S_OK;
    }
};

struct FakeAutomation final : Counted<uia::IUIAutomation> {
    std::map<HWND, FakeElement*> windows;
    std::vector<std::unique_ptr<FakeCondition>> conditions;

    OMBRIX_NOT_USED(03) OMBRIX_NOT_USED(04) OMBRIX_NOT_USED(05) OMBRIX_NOT_USED(07) OMBRIX_NOT_USED(08)
    OMBRIX_NOT_USED(09) OMBRIX_NOT_USED(10) OMBRIX_NOT_USED(11) OMBRIX_NOT_USED(12) OMBRIX_NOT_USED(13)
    OMBRIX_NOT_USED(14) OMBRIX_NOT_USED(15) OMBRIX_NOT_USED(16) OMBRIX_NOT_USED(17) OMBRIX_NOT_USED(18)
    OMBRIX_NOT_USED(19) OMBRIX_NOT_USED(20) OMBRIX_NOT_USED(21) OMBRIX_NOT_USED(22) OMBRIX_NOT_USED(24)
    HRESULT STDMETHODCALLTYPE ElementFromHandle(HWND window, uia::IUIAutomationElement** element) override {
        *element = windows.count(window) > 0 ? windows.at(window) : nullptr;
        return *element ? S_OK : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE CreatePropertyCondition(int property, VARIANT value,
                                                      uia::IUIAutomationCondition** out) override {
        if (value.vt != VT_BSTR && value.vt != VT_I4) return E_INVALIDARG;
        *out = keep({{property, value.vt == VT_I4 ? std::variant<int, std::wstring>(static_cast<int>(value.lVal))
                                                  : std::wstring(value.bstrVal, SysStringLen(value.bstrVal))}});
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE CreateAndCondition(uia::IUIAutomationCondition* first, uia::IUIAutomationCondition* second,
                                                 uia::IUIAutomationCondition** out) override {
        Properties both = static_cast<FakeCondition*>(first)->wanted;
        both.merge(Properties(static_cast<FakeCondition*>(second)->wanted));
        *out = keep(both);
        return S_OK;
    }
    FakeCondition* keep(Properties wanted) {
        conditions.push_back(std::make_unique<FakeCondition>());
        conditions.back()->wanted = std::move(wanted);
        return conditions.back().get();
    }
};
#undef OMBRIX_NOT_USED
#pragma GCC diagnostic pop

// A browser window: a button, then the address bar, under the same name.
TEST(UiaSide, NameEditAndHelpConditionsValueFocusAndAnElementThatIsGone) {
    HWND window = CreateWindowExW(0, L"STATIC", L"browser", 0, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    FakeAutomation automation;
    FakeElement root, button, bar;
    const std::wstring name = L"Barra degli indirizzi e di ricerca";
    button.properties = {{uia::kLegacyNameProperty, name}, {uia::kLegacyValueProperty, L"button"},
                         {uia::kControlTypeProperty, 50000}};
    bar.properties = {{uia::kLegacyNameProperty, name},
                      {uia::kLegacyHelpProperty, L"Cerca o immetti l'indirizzo Web"},
                      {uia::kLegacyValueProperty, L"citt\u00e0.example"},
                      {uia::kControlTypeProperty, uia::kEditControlType}};
    root.descendants = {&button, &bar};
    automation.windows[window] = &root;
    const auto layer = makeUiAutomation(&automation);
    ASSERT_TRUE(layer->isUiAutomation());
    using platform::AccessibleText;
    const auto find = [&](AccessibleText property, const std::string& text, bool editOnly) {
        return layer->findFirst(reinterpret_cast<platform::WindowId>(window), {property, text, editOnly});
    };
    // What is looked for, and the value of the element found (nullopt: none).
    const std::tuple<AccessibleText, std::string, bool, std::optional<std::string>> cases[] = {
        {AccessibleText::Name, "Barra degli indirizzi e di ricerca", false, "button"},
        {AccessibleText::Name, "Barra degli indirizzi e di ricerca", true, "citt\xC3\xA0.example"},
        {AccessibleText::Help, "Cerca o immetti l'indirizzo Web", true, "citt\xC3\xA0.example"},
        {AccessibleText::Name, "Cerca o immetti l'indirizzo Web", false, std::nullopt},
    };
    for (const auto& [property, text, editOnly, value] : cases) {
        auto element = find(property, text, editOnly);
        EXPECT_EQ(root.scope, uia::kScopeDescendants);
        EXPECT_EQ(element ? element->value() : std::nullopt, value) << text << " " << editOnly;
    }
    auto element = find(AccessibleText::Name, "Barra degli indirizzi e di ricerca", true);
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(element->hasKeyboardFocus(), false);
    bar.focused = true;
    EXPECT_EQ(element->hasKeyboardFocus(), true);
    bar.properties.erase(uia::kLegacyValueProperty);
    EXPECT_EQ(element->value(), "") << "no value is an empty one";
    bar.gone = true;
    EXPECT_EQ(element->value(), std::nullopt);
    EXPECT_EQ(element->hasKeyboardFocus(), std::nullopt);
    bar.gone = false;
    DestroyWindow(window);
    EXPECT_EQ(element->value(), std::nullopt) << "its window closed";
}

}  // namespace
}  // namespace ombrix::win32
