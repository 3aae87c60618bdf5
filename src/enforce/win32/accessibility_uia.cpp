// The accessibility layer through UI Automation, as Windows offers it: one
// FindFirst over the window's descendants with a condition on the
// LegacyIAccessible name (or help), joined with the edit control type when
// asked.
#include <windows.h>
#include <ole2.h>

#include <string>
#include <utility>
#include <vector>

#include "enforce/win32/accessibility_win32.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

using platform::AccessibleQuery;
using platform::AccessibleText;

class UiaElement final : public platform::AccessibleElement {
public:
    UiaElement(ComPtr<uia::IUIAutomationElement> element, HWND window, std::shared_ptr<std::uint64_t> calls)
        : element_(std::move(element)), window_(window), calls_(std::move(calls)) {}

    std::optional<std::string> value() override {
        UniqueVariant v;
        if (!read(uia::kLegacyValueProperty, v)) return std::nullopt;
        if (v->vt != VT_BSTR || v->bstrVal == nullptr) return std::string();
        return fromBstr(v->bstrVal);
    }

    std::optional<bool> hasKeyboardFocus() override {
        UniqueVariant v;
        if (!read(uia::kHasKeyboardFocusProperty, v)) return std::nullopt;
        return v->vt == VT_BOOL && v->boolVal != VARIANT_FALSE;
    }

private:
    // False when the element is gone (its window closed, or the provider says so).
    bool read(uia::PropertyId property, UniqueVariant& v) {
        if (!IsWindow(window_)) return false;
        ++*calls_;
        return SUCCEEDED(element_->GetCurrentPropertyValue(property, v.put()));
    }

    ComPtr<uia::IUIAutomationElement> element_;
    HWND window_;
    std::shared_ptr<std::uint64_t> calls_;
};

class UiaAccessibility final : public CountedAccessibility {
public:
    explicit UiaAccessibility(ComPtr<uia::IUIAutomation> automation) : automation_(std::move(automation)) {}

    bool isUiAutomation() const noexcept override { return true; }

    std::unique_ptr<platform::AccessibleElement> findFirst(platform::WindowId window,
                                                           const AccessibleQuery& query) override {
        const HWND hwnd = reinterpret_cast<HWND>(window);
        if (!IsWindow(hwnd)) return nullptr;
        uia::IUIAutomationCondition* condition = conditionFor(query);
        if (condition == nullptr) return nullptr;
        ComPtr<uia::IUIAutomationElement> root;
        ++*calls_;
        if (FAILED(automation_->ElementFromHandle(hwnd, root.put())) || !root) return nullptr;
        ComPtr<uia::IUIAutomationElement> found;
        ++*calls_;
        if (FAILED(root->FindFirst(uia::kScopeDescendants, condition, found.put())) || !found) return nullptr;
        return std::make_unique<UiaElement>(std::move(found), hwnd, calls_);
    }

private:
    // Conditions are made once per query: the readers ask the same few every tick.
    uia::IUIAutomationCondition* conditionFor(const AccessibleQuery& query) {
        for (const auto& [q, c] : conditions_) {
            if (q == query) return c.get();
        }
        const uia::PropertyId property = query.property == AccessibleText::Name   ? uia::kLegacyNameProperty
                                         : query.property == AccessibleText::Help ? uia::kLegacyHelpProperty
                                                                                  : uia::kAutomationIdProperty;
        ComPtr<uia::IUIAutomationCondition> text = propertyCondition(property, query.text);
        if (!text) return nullptr;
        ComPtr<uia::IUIAutomationCondition> condition;
        if (query.editOnly) {
            VARIANT type;
            VariantInit(&type);
            type.vt = VT_I4;
            type.lVal = uia::kEditControlType;
            ComPtr<uia::IUIAutomationCondition> edit;
            ++*calls_;
            if (FAILED(automation_->CreatePropertyCondition(uia::kControlTypeProperty, type, edit.put())) || !edit) {
                return nullptr;
            }
            ++*calls_;
            if (FAILED(automation_->CreateAndCondition(text.get(), edit.get(), condition.put())) || !condition) {
                return nullptr;
            }
        } else {
            condition = std::move(text);
        }
        conditions_.emplace_back(query, std::move(condition));
        return conditions_.back().second.get();
    }

    ComPtr<uia::IUIAutomationCondition> propertyCondition(uia::PropertyId property, const std::string& utf8) {
        const std::wstring text = toWide(utf8);
        const UniqueVariant v = UniqueVariant::ofString(text.data(), static_cast<UINT>(text.size()));
        if (v->vt != VT_BSTR) return {};
        ComPtr<uia::IUIAutomationCondition> condition;
        ++*calls_;
        if (FAILED(automation_->CreatePropertyCondition(property, v.get(), condition.put()))) return {};
        return condition;
    }

    ComPtr<uia::IUIAutomation> automation_;
    std::vector<std::pair<AccessibleQuery, ComPtr<uia::IUIAutomationCondition>>> conditions_;
};

}  // namespace

std::unique_ptr<CountedAccessibility> makeUiAutomation(uia::IUIAutomation* automation) {
    if (automation == nullptr) return nullptr;
    return std::make_unique<UiaAccessibility>(ComPtr<uia::IUIAutomation>::share(automation));
}

std::unique_ptr<CountedAccessibility> makeUiAutomation() {
    ComPtr<uia::IUIAutomation> automation;
    if (FAILED(CoCreateInstance(uia::kClsidCUIAutomation, nullptr, CLSCTX_INPROC_SERVER, uia::kIidIUIAutomation,
                                automation.putVoid())) ||
        !automation) {
        return nullptr;
    }
    return std::make_unique<UiaAccessibility>(std::move(automation));
}

}  // namespace ombrix::win32
