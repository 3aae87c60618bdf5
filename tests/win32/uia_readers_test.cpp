// The UI Automation side of the readers. Wine cannot create the automation
// object, so the code is driven here through our own declarations by a fake
// automation object. Built with -DOMBRIX_UIA_REFERENCE=ON, the declarations
// themselves are compared slot by slot with Wine's.
#include <gtest/gtest.h>

#include <windows.h>
#include <ole2.h>

#include <array>
#include <map>
#include <optional>
#include <string>
#include <utility>
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
// Which vtable slot a call through a declaration goes to, ours against Wine's.
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
    EXPECT_EQ(slotOf<uia::IUIAutomation>([](auto* p) { p->ElementFromHandle(nullptr, nullptr); }),
              slotOf<::IUIAutomation>([](auto* p) { p->ElementFromHandle(nullptr, nullptr); }));
    EXPECT_EQ(slotOf<uia::IUIAutomation>([&](auto* p) { p->CreatePropertyCondition(0, v, nullptr); }),
              slotOf<::IUIAutomation>([&](auto* p) { p->CreatePropertyCondition(0, v, nullptr); }));
    EXPECT_EQ(slotOf<uia::IUIAutomation>([](auto* p) { p->CreateAndCondition(nullptr, nullptr, nullptr); }),
              slotOf<::IUIAutomation>([](auto* p) { p->CreateAndCondition(nullptr, nullptr, nullptr); }));
    EXPECT_EQ(slotOf<uia::IUIAutomationElement>([](auto* p) { p->FindFirst(0, nullptr, nullptr); }),
              slotOf<::IUIAutomationElement>([](auto* p) { p->FindFirst(TreeScope_Descendants, nullptr, nullptr); }));
    EXPECT_EQ(slotOf<uia::IUIAutomationElement>([](auto* p) { p->GetCurrentPropertyValue(0, nullptr); }),
              slotOf<::IUIAutomationElement>([](auto* p) { p->GetCurrentPropertyValue(0, nullptr); }));
    EXPECT_TRUE(IsEqualGUID(uia::kIidIUIAutomation, __uuidof(::IUIAutomation)));
    EXPECT_TRUE(IsEqualGUID(uia::kIidIUIAutomationElement, __uuidof(::IUIAutomationElement)));
    EXPECT_TRUE(IsEqualGUID(uia::kIidIUIAutomationCondition, __uuidof(::IUIAutomationCondition)));
    EXPECT_TRUE(IsEqualGUID(uia::kClsidCUIAutomation, __uuidof(::CUIAutomation)));
    EXPECT_EQ(uia::kScopeDescendants, static_cast<int>(TreeScope_Descendants));
    EXPECT_EQ(uia::kControlTypeProperty, UIA_ControlTypePropertyId);
    EXPECT_EQ(uia::kHasKeyboardFocusProperty, UIA_HasKeyboardFocusPropertyId);
    EXPECT_EQ(uia::kLegacyNameProperty, UIA_LegacyIAccessibleNamePropertyId);
    EXPECT_EQ(uia::kLegacyValueProperty, UIA_LegacyIAccessibleValuePropertyId);
    EXPECT_EQ(uia::kLegacyHelpProperty, UIA_LegacyIAccessibleHelpPropertyId);
    EXPECT_EQ(uia::kEditControlType, UIA_EditControlTypeId);
}
#endif

// A fake automation object behind our declarations: elements in a tree,
// conditions on a text or a number property, and "and" conditions.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#define OMBRIX_NOT_USED(n) \
    HRESULT STDMETHODCALLTYPE notUsed##n() override { return E_NOTIMPL; }

template <typename Interface>
class Counted : public Interface {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
        *out = this;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --refs_;
        if (n == 0) delete this;
        return n;
    }
    virtual ~Counted() = default;

private:
    ULONG refs_ = 1;
};

struct FakeElement;

struct FakeCondition final : Counted<uia::IUIAutomationCondition> {
    int property = 0;
    std::optional<std::wstring> text;  // else a number
    int number = 0;
    std::vector<FakeCondition*> both;  // an "and" condition, held by the automation object
    bool holds(const FakeElement& e) const;
};

struct FakeElement final : Counted<uia::IUIAutomationElement> {
    std::map<int, std::wstring> texts;
    std::map<int, int> numbers;
    bool focused = false;
    bool gone = false;
    std::vector<FakeElement*> children;  // held by the test
    int* lastScope = nullptr;

    OMBRIX_NOT_USED(03) OMBRIX_NOT_USED(04) OMBRIX_NOT_USED(06) OMBRIX_NOT_USED(07) OMBRIX_NOT_USED(08)
    OMBRIX_NOT_USED(09)
    HRESULT STDMETHODCALLTYPE FindFirst(int scope, uia::IUIAutomationCondition* condition,
                                        uia::IUIAutomationElement** found) override {
        *lastScope = scope;
        *found = scope == uia::kScopeDescendants ? search(*static_cast<FakeCondition*>(condition)) : nullptr;
        if (*found != nullptr) (*found)->AddRef();
        return scope == uia::kScopeDescendants ? S_OK : E_INVALIDARG;
    }
    HRESULT STDMETHODCALLTYPE GetCurrentPropertyValue(int property, VARIANT* value) override {
        VariantInit(value);
        if (gone) return static_cast<HRESULT>(0x80040201);  // UIA_E_ELEMENTNOTAVAILABLE
        if (property == uia::kHasKeyboardFocusProperty) {
            value->vt = VT_BOOL;
            value->boolVal = focused ? VARIANT_TRUE : VARIANT_FALSE;
        } else if (const auto t = texts.find(property); t != texts.end()) {
            value->vt = VT_BSTR;
            value->bstrVal = SysAllocString(t->second.c_str());
        }
        return S_OK;
    }
    FakeElement* search(const FakeCondition& condition) {
        for (FakeElement* child : children) {
            if (condition.holds(*child)) return child;
            if (FakeElement* deeper = child->search(condition)) return deeper;
        }
        return nullptr;
    }
};

bool FakeCondition::holds(const FakeElement& e) const {
    if (!both.empty()) return both[0]->holds(e) && both[1]->holds(e);
    if (text) return e.texts.count(property) > 0 && e.texts.at(property) == *text;
    return e.numbers.count(property) > 0 && e.numbers.at(property) == number;
}

struct FakeAutomation final : Counted<uia::IUIAutomation> {
    std::map<HWND, FakeElement*> windows;
    std::vector<ComPtr<FakeCondition>> conditions;
    int lastScope = -1;

    OMBRIX_NOT_USED(03) OMBRIX_NOT_USED(04) OMBRIX_NOT_USED(05) OMBRIX_NOT_USED(07) OMBRIX_NOT_USED(08)
    OMBRIX_NOT_USED(09) OMBRIX_NOT_USED(10) OMBRIX_NOT_USED(11) OMBRIX_NOT_USED(12) OMBRIX_NOT_USED(13)
    OMBRIX_NOT_USED(14) OMBRIX_NOT_USED(15) OMBRIX_NOT_USED(16) OMBRIX_NOT_USED(17) OMBRIX_NOT_USED(18)
    OMBRIX_NOT_USED(19) OMBRIX_NOT_USED(20) OMBRIX_NOT_USED(21) OMBRIX_NOT_USED(22) OMBRIX_NOT_USED(24)
    HRESULT STDMETHODCALLTYPE ElementFromHandle(HWND window, uia::IUIAutomationElement** element) override {
        const auto it = windows.find(window);
        *element = it == windows.end() ? nullptr : it->second;
        if (*element == nullptr) return E_FAIL;
        it->second->lastScope = &lastScope;
        it->second->AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE CreatePropertyCondition(int property, VARIANT value,
                                                      uia::IUIAutomationCondition** out) override {
        if (value.vt != VT_BSTR && value.vt != VT_I4) return E_INVALIDARG;
        auto* c = keep(new FakeCondition);
        c->property = property;
        if (value.vt == VT_BSTR) c->text = std::wstring(value.bstrVal, SysStringLen(value.bstrVal));
        if (value.vt == VT_I4) c->number = value.lVal;
        *out = c;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE CreateAndCondition(uia::IUIAutomationCondition* first, uia::IUIAutomationCondition* second,
                                                 uia::IUIAutomationCondition** out) override {
        auto* c = keep(new FakeCondition);
        c->both = {static_cast<FakeCondition*>(first), static_cast<FakeCondition*>(second)};
        *out = c;
        return S_OK;
    }
    FakeCondition* keep(FakeCondition* c) {
        conditions.push_back(ComPtr<FakeCondition>::share(c));
        return c;
    }
};

#undef OMBRIX_NOT_USED
#pragma GCC diagnostic pop

// A browser window's tree: a button, then the address bar, both under a tool bar.
class UiaSide : public ::testing::Test {
protected:
    HWND window = CreateWindowExW(0, L"STATIC", L"browser", 0, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
    ComPtr<FakeAutomation> automation{new FakeAutomation};
    ComPtr<FakeElement> root{new FakeElement}, toolbar{new FakeElement}, button{new FakeElement}, bar{new FakeElement};
    std::unique_ptr<CountedAccessibility> layer = makeUiAutomation(automation.get());
    const std::string kName = "Barra degli indirizzi e di ricerca";

    void SetUp() override {
        ASSERT_NE(window, nullptr);
        root->children = {toolbar.get()};
        toolbar->children = {button.get(), bar.get()};
        button->texts[uia::kLegacyNameProperty] = L"Barra degli indirizzi e di ricerca";  // same name, not an edit
        button->texts[uia::kLegacyValueProperty] = L"button";
        button->numbers[uia::kControlTypeProperty] = 50000;
        bar->texts[uia::kLegacyNameProperty] = L"Barra degli indirizzi e di ricerca";
        bar->texts[uia::kLegacyHelpProperty] = L"Cerca o immetti l'indirizzo Web";
        bar->texts[uia::kLegacyValueProperty] = L"citt\u00e0.example";
        bar->numbers[uia::kControlTypeProperty] = uia::kEditControlType;
        automation->windows[window] = root.get();
    }
    void TearDown() override { DestroyWindow(window); }

    std::unique_ptr<platform::AccessibleElement> find(platform::AccessibleText property, const std::string& text,
                                                      bool editOnly) {
        return layer->findFirst(reinterpret_cast<platform::WindowId>(window), {property, text, editOnly});
    }
};

TEST_F(UiaSide, NameEditAndHelpConditions) {
    ASSERT_TRUE(layer->isUiAutomation());
    using platform::AccessibleText;
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
        EXPECT_EQ(automation->lastScope, uia::kScopeDescendants);
        EXPECT_EQ(element ? element->value() : std::nullopt, c.value) << c.text << " " << c.editOnly;
    }
}

TEST_F(UiaSide, ValueFocusAndAnElementThatIsGone) {
    auto element = find(platform::AccessibleText::Name, kName, true);
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(element->hasKeyboardFocus(), false);
    bar->focused = true;
    EXPECT_EQ(element->hasKeyboardFocus(), true);
    bar->texts.erase(uia::kLegacyValueProperty);
    EXPECT_EQ(element->value(), "") << "no value is an empty one";
    bar->gone = true;
    EXPECT_EQ(element->value(), std::nullopt);
    EXPECT_EQ(element->hasKeyboardFocus(), std::nullopt);
    bar->gone = false;
    DestroyWindow(window);
    EXPECT_EQ(element->value(), std::nullopt) << "its window closed";
    EXPECT_EQ(find(platform::AccessibleText::Name, "x", false), nullptr);
}

TEST(UiaChoice, AutomaticFallsBackToMsaaWhenUiAutomationCannotBeMade) {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    const bool available = makeUiAutomation() != nullptr;
    EXPECT_EQ(makeAccessibility(AccessibilityChoice::Automatic)->isUiAutomation(), available);
    EXPECT_FALSE(makeAccessibility(AccessibilityChoice::Msaa)->isUiAutomation());
    CoUninitialize();
}

}  // namespace
}  // namespace ombrix::win32
