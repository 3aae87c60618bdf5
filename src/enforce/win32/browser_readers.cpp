#include "enforce/win32/browser_readers.h"

#include <ole2.h>

#include "platform/failures.h"
#include "platform/process_control.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

// "Shell.Application" and the ShellWindows object.
constexpr GUID kClsidShell = {0x13709620, 0xc279, 0x11ce, {0xa4, 0x9e, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};
constexpr GUID kClsidShellWindows = {0x9ba05972, 0xf6a8, 0x11cf, {0xa4, 0x42, 0x00, 0xa0, 0xc9, 0x0a, 0x8f, 0x39}};

// Late binding, as a script would: the member by name, then Invoke.
bool invoke(IDispatch* object, const wchar_t* member, WORD flags, VARIANT* argument, UniqueVariant& result) {
    result.reset();
    if (object == nullptr) return false;
    DISPID id = 0;
    auto* name = const_cast<LPOLESTR>(member);
    if (FAILED(object->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id))) return false;
    DISPPARAMS params{argument, nullptr, argument != nullptr ? 1u : 0u, 0};
    return SUCCEEDED(object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, result.put(), nullptr, nullptr));
}

std::vector<ComPtr<IDispatch>> items(IDispatch* collection) {
    std::vector<ComPtr<IDispatch>> out;
    UniqueVariant count;
    if (!invoke(collection, L"Count", DISPATCH_PROPERTYGET, nullptr, count)) return out;
    long n = 0;
    UniqueVariant number;
    // The source is only read; the call's signature just lacks the const.
    if (SUCCEEDED(VariantChangeType(number.put(), const_cast<VARIANT*>(&count.get()), 0, VT_I4))) n = number->lVal;
    for (long i = 0; i < n && i < 1000; ++i) {
        VARIANT index;
        VariantInit(&index);
        index.vt = VT_I4;
        index.lVal = i;
        UniqueVariant item;
        if (!invoke(collection, L"Item", DISPATCH_METHOD | DISPATCH_PROPERTYGET, &index, item)) continue;
        // A window closing meanwhile leaves a hole.
        if (item->vt == VT_DISPATCH && item->pdispVal != nullptr) {
            out.push_back(ComPtr<IDispatch>::share(item->pdispVal));
        }
    }
    return out;
}

}  // namespace

std::vector<ComPtr<IDispatch>> shellApplicationWindows() {
    ComPtr<IDispatch> shell;
    if (FAILED(CoCreateInstance(kClsidShell, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IDispatch,
                                shell.putVoid()))) {
        return {};
    }
    UniqueVariant collection;
    if (!invoke(shell.get(), L"Windows", DISPATCH_METHOD, nullptr, collection)) return {};
    if (collection->vt != VT_DISPATCH) return {};
    return items(collection->pdispVal);
}

std::vector<ComPtr<IDispatch>> shellWindows() {
    ComPtr<IDispatch> collection;
    if (FAILED(CoCreateInstance(kClsidShellWindows, nullptr, CLSCTX_ALL, IID_IDispatch, collection.putVoid()))) {
        return {};
    }
    return items(collection.get());
}

std::string shellWindowText(IDispatch* window, const wchar_t* property) {
    UniqueVariant v;
    if (!invoke(window, property, DISPATCH_PROPERTYGET, nullptr, v)) return {};
    if (v->vt != VT_BSTR) return {};
    return fromBstr(v->bstrVal);
}

bool shellWindowCall(IDispatch* window, const wchar_t* method) {
    UniqueVariant ignored;
    return invoke(window, method, DISPATCH_METHOD, nullptr, ignored);
}

BrowserReaders::BrowserReaders(platform::Processes& processes, platform::WindowSystem& windows,
                               platform::Clock& clock, AccessibilityChoice choice)
    : processes_(processes), accessibility_(makeAccessibility(choice)), readers_(processes, windows, *accessibility_),
      finder_(processes, windows, *accessibility_, clock) {}

bool BrowserReaders::internetExplorerRunning() { return platform::IsProcessRunning(processes_, "iexplore.exe"); }

BrowserReaders::~BrowserReaders() = default;

std::string BrowserReaders::readChromeAddress() { return readers_.readChromeAddress(); }
std::string BrowserReaders::readEdgeAddress() { return readers_.readEdgeAddress(); }
std::string BrowserReaders::readFirefoxAddress() { return readers_.readFirefoxAddress(); }

std::string BrowserReaders::shellWindowAddresses() {
    return platform::guarded([this] {
        if (!internetExplorerRunning()) return std::string();
        std::vector<std::string> addresses;
        for (const auto& window : shellApplicationWindows()) addresses.push_back(shellWindowText(window.get(), L"LocationURL"));
        return enforce::shellWindowAddresses(addresses);
    });
}

std::vector<platform::ShellBrowserWindow> BrowserReaders::windows() {
    return platform::guarded([this] {
        lastWindows_.clear();
        std::vector<platform::ShellBrowserWindow> out;
        if (!internetExplorerRunning()) return out;
        for (auto& window : shellWindows()) {
            out.push_back({shellWindowText(window.get(), L"LocationURL"), shellWindowText(window.get(), L"LocationName")});
            lastWindows_.push_back(std::move(window));
        }
        return out;
    });
}

void BrowserReaders::goBack(std::size_t index) {
    // A window with no page to go back to refuses: nothing to report.
    if (index < lastWindows_.size()) shellWindowCall(lastWindows_[index].get(), L"GoBack");
}

}  // namespace ombrix::win32
