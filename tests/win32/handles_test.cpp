#include <windows.h>

#include <gtest/gtest.h>

#include <thread>

#include "platform/win32/handles.h"

namespace ombrix::win32 {
namespace {

// Whether the owner still held a window as it was destroyed.
struct DestroyProbe {
    const UniqueWindow* owner = nullptr;
    int destroyed = 0;
    bool ownedWhileDestroyed = false;
};

LRESULT CALLBACK probeProc(HWND window, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_NCCREATE) {
        SetWindowLongPtrW(window, GWLP_USERDATA,
                          reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lp)->lpCreateParams));
    }
    if (msg == WM_DESTROY) {
        auto* probe = reinterpret_cast<DestroyProbe*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        ++probe->destroyed;
        probe->ownedWhileDestroyed = probe->owner->get() == window;
    }
    return DefWindowProcW(window, msg, wp, lp);
}

TEST(Owners, MoveLeaveEmptyLetGoBeforeClosingAndEndWhatTheyBegan) {
    // A move hands a window over whole; reset destroys it, and the window
    // being destroyed (which may call back into its form) is no longer owned.
    WNDCLASSW wc{};
    wc.lpfnWndProc = probeProc;
    wc.lpszClassName = L"OmbrixTestDestroyProbe";
    RegisterClassW(&wc);
    DestroyProbe probe;
    UniqueWindow first(CreateWindowExW(0, wc.lpszClassName, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, nullptr, &probe));
    ASSERT_TRUE(first);
    UniqueWindow second(std::move(first));
    probe.owner = &second;
    EXPECT_TRUE(!first && probe.destroyed == 0) << "a move destroyed the window";
    second.reset();
    EXPECT_EQ(probe.destroyed, 1);
    EXPECT_FALSE(probe.ownedWhileDestroyed) << "the owner still held the window it was destroying";

    // A VARIANT's string moves with it.
    UniqueVariant text = UniqueVariant::ofString(L"abc", 3);
    UniqueVariant moved(std::move(text));
    EXPECT_EQ(text->vt, VT_EMPTY);
    EXPECT_EQ(SysStringLen(moved->bstrVal), 3u);

    // A hook is removed once, by its last owner.
    UniqueHook hook(SetWindowsHookExW(
        WH_MOUSE_LL, [](int c, WPARAM w, LPARAM l) { return CallNextHookEx(nullptr, c, w, l); }, GetModuleHandleW(nullptr), 0));
    const HHOOK raw = hook.get();
    ASSERT_TRUE(raw);
    UniqueHook kept(std::move(hook));
    kept.reset();
    EXPECT_FALSE(UnhookWindowsHookEx(raw)) << "the hook outlived its owner";

    // What a call put in an array of VARIANTs is released with the array.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
    struct Referenced final : IUnknown {
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
        ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
        ULONG STDMETHODCALLTYPE Release() override { return --refs; }
        ULONG refs = 2;  // the test's, and the array's
    } object;
#pragma GCC diagnostic pop
    {
        UniqueVariantArray items(3);
        ASSERT_EQ(items.size(), 3u);
        items.data()[1].vt = VT_UNKNOWN;
        items.data()[1].punkVal = &object;
    }
    EXPECT_EQ(object.refs, 1u) << "the array kept the reference it was given";

    // COM entered and left, on a thread of its own away from other tests' COM.
    std::thread([] {
        {
            ComApartment outer = ComApartment::enter(COINIT_APARTMENTTHREADED);
            const ComApartment nested = ComApartment::enter(COINIT_APARTMENTTHREADED);
            EXPECT_TRUE(outer && nested) << "a second entry in the same model is counted and must be left too";
            EXPECT_FALSE(ComApartment::enter(COINIT_MULTITHREADED)) << "another model's apartment is not ours to end";
            const ComApartment taken(std::move(outer));
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
