#include <windows.h>

#include <gtest/gtest.h>

#include <thread>

#include "platform/win32/handles.h"

namespace ombrix::win32 {
namespace {

// Records, as its window is destroyed, whether the owner still held it.
struct DestroyProbe {
    const UniqueWindow* owner = nullptr;
    bool destroyed = false;
    bool ownedWhileDestroyed = false;
};

LRESULT CALLBACK probeProc(HWND window, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_NCCREATE) {
        SetWindowLongPtrW(window, GWLP_USERDATA,
                          reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lp)->lpCreateParams));
    }
    if (msg == WM_DESTROY) {
        auto* probe = reinterpret_cast<DestroyProbe*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        probe->destroyed = true;
        probe->ownedWhileDestroyed = probe->owner->get() == window;
    }
    return DefWindowProcW(window, msg, wp, lp);
}

UniqueWindow probeWindow(DestroyProbe& probe) {
    WNDCLASSW wc{};
    wc.lpfnWndProc = probeProc;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = L"OmbrixTestDestroyProbe";
    RegisterClassW(&wc);
    return UniqueWindow(CreateWindowExW(0, wc.lpszClassName, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr,
                                        GetModuleHandleW(nullptr), &probe));
}

TEST(Owners, MoveLeaveEmptyLetGoBeforeClosingAndEndWhatTheyBegan) {
    // A window: a move hands it over whole; reset destroys it, and a window
    // being destroyed no longer finds itself owned (it may call back into
    // the form that owns it).
    DestroyProbe probe;
    UniqueWindow first = probeWindow(probe);
    ASSERT_TRUE(first);
    UniqueWindow second(std::move(first));
    EXPECT_FALSE(first);
    EXPECT_FALSE(probe.destroyed) << "a move destroyed the window";
    probe.owner = &second;
    second.reset();
    EXPECT_TRUE(probe.destroyed);
    EXPECT_FALSE(probe.ownedWhileDestroyed) << "the owner still held the window it was destroying";

    // A VARIANT: its string moves with it.
    UniqueVariant text = UniqueVariant::ofString(L"abc", 3);
    ASSERT_EQ(text->vt, VT_BSTR);
    UniqueVariant moved(std::move(text));
    EXPECT_EQ(text->vt, VT_EMPTY);
    EXPECT_EQ(SysStringLen(moved->bstrVal), 3u);

    // A hook: removed once, by its last owner.
    UniqueHook hook(SetWindowsHookExW(WH_MOUSE_LL, [](int c, WPARAM w, LPARAM l) { return CallNextHookEx(nullptr, c, w, l); },
                                      GetModuleHandleW(nullptr), 0));
    ASSERT_TRUE(hook);
    const HHOOK raw = hook.get();
    UniqueHook kept(std::move(hook));
    kept.reset();
    EXPECT_FALSE(UnhookWindowsHookEx(raw)) << "the hook outlived its owner";

    // An array of VARIANTs: what a call put in each is released when the array goes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
    struct Referenced final : IUnknown {
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
            *out = nullptr;
            return E_NOINTERFACE;
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
        ULONG STDMETHODCALLTYPE Release() override { return --refs; }
        ULONG refs = 1;
    } object;
#pragma GCC diagnostic pop
    {
        UniqueVariantArray items(3);
        ASSERT_EQ(items.size(), 3u);
        object.AddRef();
        items.data()[1].vt = VT_UNKNOWN;
        items.data()[1].punkVal = &object;
    }
    EXPECT_EQ(object.refs, 1u) << "the array kept the reference it was given";

    // The COM apartment, on a thread of its own so no other test's COM is in the way.
    std::thread([] {
        {
            ComApartment outer = ComApartment::enter(COINIT_APARTMENTTHREADED);
            EXPECT_TRUE(outer);
            const ComApartment nested = ComApartment::enter(COINIT_APARTMENTTHREADED);
            EXPECT_TRUE(nested) << "a second entry in the same model is counted and must be left too";
            const ComApartment otherModel = ComApartment::enter(COINIT_MULTITHREADED);
            EXPECT_FALSE(otherModel) << "an apartment of another model is not ours to end";
            ComApartment taken(std::move(outer));
            EXPECT_FALSE(outer);
        }
        // Every entry was left: the thread may now choose another model.
        const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        EXPECT_EQ(hr, S_OK);
        if (SUCCEEDED(hr)) CoUninitialize();
    }).join();
}

}  // namespace
}  // namespace ombrix::win32
