// The UI Automation side of the readers, through a fake automation object:
// Wine cannot create the real one. With -DOMBRIX_UIA_REFERENCE=ON our
// declarations are also compared slot by slot with Wine's.
#include <gtest/gtest.h>

#include <windows.h>
#include <ole2.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "enforce/win32/accessibility_win32.h"
#include "enforce/win32/uia.h"
#include "platform/win32/handles.h"

#ifdef OMBRIX_WINE_UIA_REFERENCE
#include <wine-uia/uiautomationclient.h>
#endif

namespace ombrix::win32 {
namespace {

#ifdef OMBRIX_WINE_UIA_REFERENCE
// A probe whose vtable records which slot a call through a declaration reaches.
int g_calledSlot = -1;
using SlotFn = HRESULT(STDMETHODCALLTYPE*)(void*);
template <int N>
HRESULT STDMETHODCALLTYPE slot(void*) {
    g_calledSlot = N;
    return E_NOTIMPL;
}
template <int... N>
constexpr std::array<SlotFn, sizeof...(N)> slotTable(std::integer_sequence<int, N...>) {
    return {&slot<N>...};
}
const auto kSlots = slotTable(std::make_integer_sequence<int, 64>{});
template <typename Interface, typename Call>
int slotOf(Call call) {
    struct {
        const SlotFn* vtable = kSlots.data();
    } probe;
    g_calledSlot = -1;
    call(reinterpret_cast<Interface*>(&probe));
    return g_calledSlot;
}

TEST(UiaDeclarations, SlotsAndIdentifiersMatchWinesHeader) {
    VARIANT v;
    VariantInit(&v);
#define OMBRIX_SAME_SLOT(I, call) \
    EXPECT_EQ(slotOf<uia::I>([&](auto* p) { p->call; }), slotOf<::I>([&](auto* p) { p->call; })) << #call
    OMBRIX_SAME_SLOT(IUIAutomation, ElementFromHandle(nullptr, nullptr));
    OMBRIX_SAME_SLOT(IUIAutomation, CreatePropertyCondition(0, v, nullptr));
    OMBRIX_SAME_SLOT(IUIAutomation, CreateAndCondition(nullptr, nullptr, nullptr));
    OMBRIX_SAME_SLOT(IUIAutomationElement, FindFirst(TreeScope_Descendants, nullptr, nullptr));
    OMBRIX_SAME_SLOT(IUIAutomationElement, GetCurrentPropertyValue(0, nullptr));
#undef OMBRIX_SAME_SLOT
    EXPECT_TRUE(IsEqualGUID(uia::kIidIUIAutomation, __uuidof(::IUIAutomation)));
    EXPECT_TRUE(IsEqualGUID(uia::kIidIUIAutomationElement, __uuidof(::IUIAutomationElement)));
    EXPECT_TRUE(IsEqualGUID(uia::kIidIUIAutomationCondition, __uuidof(::IUIAutomationCondition)));
    EXPECT_TRUE(IsEqualGUID(uia::kClsidCUIAutomation, __uuidof(::CUIAutomation)));
    EXPECT_EQ(uia::kScopeDescendants, static_cast<int>(TreeScope_Descendants));
    const std::pair<int, int> ids[] = {{uia::kControlTypeProperty, UIA_ControlTypePropertyId},
                                       {uia::kHasKeyboardFocusProperty, UIA_HasKeyboardFocusPropertyId},
                                       {uia::kLegacyNameProperty, UIA_LegacyIAccessibleNamePropertyId},
                                       {uia::kLegacyValueProperty, UIA_LegacyIAccessibleValuePropertyId},
                                       {uia::kLegacyHelpProperty, UIA_LegacyIAccessibleHelpPropertyId},
                                       {uia::kEditControlType, UIA_EditControlTypeId}};
    for (const auto& [ours, wines] : ids) EXPECT_EQ(ours, wines);
}
#endif

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#define OMBRIX_NOT_USED(n) \
    HRESULT STDMETHODCALLTYPE notUsed##n() override { return E_NOTIMPL; }

template <typename Interface>
struct Counted : Interface {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override { return *out = this, AddRef(), S_OK; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --refs;
        if (n == 0) delete this;
        return n;
    }
    virtual ~Counted() = default;
    ULONG refs = 1;
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
        if (*found) (*found)->AddRef();
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
    std::vector<ComPtr<FakeCondition>> conditions;

    OMBRIX_NOT_USED(03) OMBRIX_NOT_USED(04) OMBRIX_NOT_USED(05) OMBRIX_NOT_USED(07) OMBRIX_NOT_USED(08)
    OMBRIX_NOT_USED(09) OMBRIX_NOT_USED(10) OMBRIX_NOT_USED(11) OMBRIX_NOT_USED(12) OMBRIX_NOT_USED(13)
    OMBRIX_NOT_USED(14) OMBRIX_NOT_USED(15) OMBRIX_NOT_USED(16) OMBRIX_NOT_USED(17) OMBRIX_NOT_USED(18)
    OMBRIX_NOT_USED(19) OMBRIX_NOT_USED(20) OMBRIX_NOT_USED(21) OMBRIX_NOT_USED(22) OMBRIX_NOT_USED(24)
    HRESULT STDMETHODCALLTYPE ElementFromHandle(HWND window, uia::IUIAutomationElement** element) override {
        *element = windows.count(window) > 0 ? windows.at(window) : nullptr;
        if (*element == nullptr) return E_FAIL;
        (*element)->AddRef();
        return S_OK;
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
    FakeCondition* keep(Properties wanted) {  // one reference for the caller, one kept
        auto* c = new FakeCondition;
        c->wanted = std::move(wanted);
        conditions.push_back(ComPtr<FakeCondition>::share(c));
        return c;
    }
};
#undef OMBRIX_NOT_USED
#pragma GCC diagnostic pop

// A browser window: a button, then the address bar, under the same name.
TEST(UiaSide, NameEditAndHelpConditionsValueFocusAndAnElementThatIsGone) {
    HWND window = CreateWindowExW(0, L"STATIC", L"browser", 0, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(window, nullptr);
    ComPtr<FakeAutomation> automation{new FakeAutomation};
    ComPtr<FakeElement> root{new FakeElement}, button{new FakeElement}, bar{new FakeElement};
    const std::wstring name = L"Barra degli indirizzi e di ricerca";
    button->properties = {{uia::kLegacyNameProperty, name}, {uia::kLegacyValueProperty, L"button"},
                          {uia::kControlTypeProperty, 50000}};
    bar->properties = {{uia::kLegacyNameProperty, name},
                       {uia::kLegacyHelpProperty, L"Cerca o immetti l'indirizzo Web"},
                       {uia::kLegacyValueProperty, L"citt\u00e0.example"},
                       {uia::kControlTypeProperty, uia::kEditControlType}};
    root->descendants = {button.get(), bar.get()};
    automation->windows[window] = root.get();
    const auto layer = makeUiAutomation(automation.get());
    ASSERT_TRUE(layer->isUiAutomation());
    using platform::AccessibleText;
    const auto find = [&](AccessibleText property, const std::string& text, bool editOnly) {
        return layer->findFirst(reinterpret_cast<platform::WindowId>(window), {property, text, editOnly});
    };
    const struct {
        AccessibleText property;
        const char* text;
        bool editOnly;
        std::optional<std::string> value;  // of the element found; nullopt: none found
    } cases[] = {
        {AccessibleText::Name, "Barra degli indirizzi e di ricerca", false, "button"},
        {AccessibleText::Name, "Barra degli indirizzi e di ricerca", true, "citt\xC3\xA0.example"},
        {AccessibleText::Help, "Cerca o immetti l'indirizzo Web", true, "citt\xC3\xA0.example"},
        {AccessibleText::Name, "Cerca o immetti l'indirizzo Web", false, std::nullopt},
        {AccessibleText::Name, "barra degli indirizzi e di ricerca", false, std::nullopt},
    };
    for (const auto& c : cases) {
        auto element = find(c.property, c.text, c.editOnly);
        EXPECT_EQ(root->scope, uia::kScopeDescendants);
        EXPECT_EQ(element ? element->value() : std::nullopt, c.value) << c.text << " " << c.editOnly;
    }

    auto element = find(AccessibleText::Name, "Barra degli indirizzi e di ricerca", true);
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(element->hasKeyboardFocus(), false);
    bar->focused = true;
    EXPECT_EQ(element->hasKeyboardFocus(), true);
    bar->properties.erase(uia::kLegacyValueProperty);
    EXPECT_EQ(element->value(), "") << "no value is an empty one";
    bar->gone = true;
    EXPECT_EQ(element->value(), std::nullopt);
    EXPECT_EQ(element->hasKeyboardFocus(), std::nullopt);
    bar->gone = false;
    DestroyWindow(window);
    EXPECT_EQ(element->value(), std::nullopt) << "its window closed";
    EXPECT_EQ(find(AccessibleText::Name, "x", false), nullptr);
}

}  // namespace
}  // namespace ombrix::win32
