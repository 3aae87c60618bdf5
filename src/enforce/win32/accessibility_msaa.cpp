// The accessibility layer through MSAA (IAccessible). The LegacyIAccessible
// name, help and value that the readers compare are the MSAA ones, and an
// MSAA edit is a UI Automation edit control, so the answers are the same.
#include <windows.h>
#include <ole2.h>
#include <oleacc.h>

#include <algorithm>
#include <string>
#include <vector>

#include "enforce/win32/accessibility_win32.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

using platform::AccessibleQuery;
using platform::AccessibleText;

// A search gives up past these: a tick must stay short whatever a window holds.
constexpr int kMaxDepth = 40;
constexpr int kMaxVisited = 20000;
constexpr LONG kMaxChildren = 5000;

VARIANT childVariant(LONG child) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_I4;
    v.lVal = child;
    return v;
}

class MsaaElement final : public platform::AccessibleElement {
public:
    // `window` is the nearest window holding the element: once it is gone, so is the element.
    MsaaElement(ComPtr<IAccessible> object, LONG child, HWND window, std::shared_ptr<std::uint64_t> calls)
        : object_(std::move(object)), child_(child), window_(window), calls_(std::move(calls)) {}

    std::optional<std::string> value() override {
        if (!IsWindow(window_)) return std::nullopt;
        ++*calls_;
        UniqueBstr text;
        const HRESULT hr = object_->get_accValue(childVariant(child_), text.put());
        const std::wstring value = text ? std::wstring(text.get(), SysStringLen(text.get())) : std::wstring();
        // An element without a value answers so; only a failure means it is gone.
        if (FAILED(hr) && hr != DISP_E_MEMBERNOTFOUND && hr != E_NOTIMPL) return std::nullopt;
        return fromWide(value);
    }

    std::optional<bool> hasKeyboardFocus() override {
        if (!IsWindow(window_)) return std::nullopt;
        ++*calls_;
        UniqueVariant state;
        if (FAILED(object_->get_accState(childVariant(child_), state.put()))) return std::nullopt;
        return state->vt == VT_I4 && (state->lVal & STATE_SYSTEM_FOCUSED) != 0;
    }

private:
    ComPtr<IAccessible> object_;
    LONG child_;
    HWND window_;
    std::shared_ptr<std::uint64_t> calls_;
};

// One depth-first search in tree order, as UI Automation's FindFirst with the
// descendants scope: the element the search starts from is not a candidate.
class Search {
public:
    Search(const AccessibleQuery& query, std::shared_ptr<std::uint64_t> calls)
        : query_(query), text_(toWide(query.text)), calls_(std::move(calls)) {}

    std::unique_ptr<platform::AccessibleElement> under(IAccessible* root, HWND window) {
        return walk(root, window, 0);
    }

private:
    bool textMatches(IAccessible* object, LONG child) {
        ++*calls_;
        UniqueBstr text;
        const HRESULT hr = query_.property == AccessibleText::Name
                               ? object->get_accName(childVariant(child), text.put())
                               : object->get_accHelp(childVariant(child), text.put());
        return SUCCEEDED(hr) &&
               text_ == std::wstring_view(text ? text.get() : L"", text ? SysStringLen(text.get()) : 0);
    }

    // 0 when the object does not say.
    LONG role(IAccessible* object, LONG child) {
        ++*calls_;
        UniqueVariant r;
        if (FAILED(object->get_accRole(childVariant(child), r.put()))) return 0;
        return r->vt == VT_I4 ? r->lVal : 0;
    }

    // The window a child object stands for, when it is the frame of a child
    // window: it says so by its role, or (Wine's frames) says nothing at all.
    HWND childWindowOf(IAccessible* object, HWND parentWindow) {
        const LONG r = role(object, CHILDID_SELF);
        if (r != 0 && r != ROLE_SYSTEM_WINDOW) return nullptr;
        HWND window = nullptr;
        ++*calls_;
        if (FAILED(WindowFromAccessibleObject(object, &window)) || window == parentWindow) return nullptr;
        return window;
    }

    bool matches(IAccessible* object, LONG child) {
        if (!textMatches(object, child)) return false;
        return !query_.editOnly || role(object, child) == ROLE_SYSTEM_TEXT;
    }

    std::unique_ptr<platform::AccessibleElement> found(IAccessible* object, LONG child, HWND window) {
        return std::make_unique<MsaaElement>(ComPtr<IAccessible>::share(object), child, window, calls_);
    }

    std::unique_ptr<platform::AccessibleElement> walk(IAccessible* parent, HWND window, int depth) {
        if (depth > kMaxDepth) return nullptr;
        ++*calls_;
        LONG count = 0;
        if (FAILED(parent->get_accChildCount(&count)) || count <= 0) return nullptr;
        // The children of the object, released together.
        UniqueVariantArray children(static_cast<std::size_t>(std::min(count, kMaxChildren)));
        LONG got = 0;
        ++*calls_;
        if (FAILED(AccessibleChildren(parent, 0, static_cast<LONG>(children.size()), children.data(), &got))) {
            return nullptr;
        }
        for (LONG i = 0; i < got && i < static_cast<LONG>(children.size()); ++i) {
            if (++visited_ > kMaxVisited) return nullptr;
            const VARIANT& child = children[static_cast<std::size_t>(i)];
            if (child.vt == VT_I4) {  // a simple element of the parent
                if (matches(parent, child.lVal)) return found(parent, child.lVal, window);
                continue;
            }
            if (child.vt != VT_DISPATCH || child.pdispVal == nullptr) continue;
            ComPtr<IAccessible> object;
            ++*calls_;
            if (FAILED(child.pdispVal->QueryInterface(IID_IAccessible, object.putVoid())) || !object) continue;
            HWND holder = window;
            if (HWND childWindow = childWindowOf(object.get(), window)) {
                // A child window comes as its frame; what it shows is on its client object.
                ComPtr<IAccessible> client;
                ++*calls_;
                if (FAILED(AccessibleObjectFromWindow(childWindow, static_cast<DWORD>(OBJID_CLIENT), IID_IAccessible,
                                                      client.putVoid())) ||
                    !client) {
                    continue;
                }
                object = std::move(client);
                holder = childWindow;
            }
            if (matches(object.get(), CHILDID_SELF)) return found(object.get(), CHILDID_SELF, holder);
            if (auto element = walk(object.get(), holder, depth + 1)) return element;
        }
        return nullptr;
    }

    const AccessibleQuery& query_;
    std::wstring text_;
    std::shared_ptr<std::uint64_t> calls_;
    int visited_ = 0;
};

class MsaaAccessibility final : public CountedAccessibility {
public:
    bool isUiAutomation() const noexcept override { return false; }

    std::unique_ptr<platform::AccessibleElement> findFirst(platform::WindowId window,
                                                           const AccessibleQuery& query) override {
        const HWND hwnd = reinterpret_cast<HWND>(window);
        if (query.property == AccessibleText::AutomationId || !IsWindow(hwnd)) return nullptr;
        ComPtr<IAccessible> root;
        ++*calls_;
        if (FAILED(AccessibleObjectFromWindow(hwnd, static_cast<DWORD>(OBJID_CLIENT), IID_IAccessible, root.putVoid())) ||
            !root) {
            return nullptr;
        }
        return Search(query, calls_).under(root.get(), hwnd);
    }
};

}  // namespace

std::unique_ptr<CountedAccessibility> makeMsaa() { return std::make_unique<MsaaAccessibility>(); }

}  // namespace ombrix::win32
