#include <windows.h>

#include <gtest/gtest.h>

#include <thread>

#include "platform/win32/handles.h"

namespace ombrix::win32 {
namespace {

const UniqueWindow* g_owner = nullptr;
int g_destroyed = 0;
bool g_ownedWhileDestroyed = false;

TEST(Owners, MoveLeaveEmptyLetGoBeforeClosingAndEndWhatTheyBegan) {
    // The window being destroyed (which may call back into its form) is no longer owned.
    WNDCLASSW wc{};
    wc.lpfnWndProc = [](HWND w, UINT msg, WPARAM wp, LPARAM lp) {
        if (msg == WM_DESTROY) ++g_destroyed, g_ownedWhileDestroyed = g_owner->get() == w;
        return DefWindowProcW(w, msg, wp, lp);
    };
    wc.lpszClassName = L"OmbrixTestDestroyProbe";
    RegisterClassW(&wc);
    UniqueWindow first(CreateWindowExW(0, wc.lpszClassName, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr));
    ASSERT_TRUE(first);
    UniqueWindow second(std::move(first));
    g_owner = &second;
    EXPECT_TRUE(!first && g_destroyed == 0) << "a move destroyed the window";
    second.reset();
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_FALSE(g_ownedWhileDestroyed);

    // A hook is removed once, by its last owner.
    UniqueHook hook(SetWindowsHookExW(
        WH_MOUSE_LL, [](int c, WPARAM w, LPARAM l) { return CallNextHookEx(nullptr, c, w, l); }, GetModuleHandleW(nullptr), 0));
    const HHOOK raw = hook.get();
    ASSERT_TRUE(raw);
    UniqueHook(std::move(hook)).reset();
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
        items.data()[1].vt = VT_UNKNOWN;
        items.data()[1].punkVal = &object;
    }
    EXPECT_EQ(object.refs, 1u);

    // COM entered and left on a thread of its own, away from other tests' COM.
    std::thread([] {
        {
            ComApartment outer = ComApartment::enter(COINIT_APARTMENTTHREADED);
            const ComApartment nested = ComApartment::enter(COINIT_APARTMENTTHREADED);
            EXPECT_TRUE(outer && nested) << "a second entry in the same model is counted and must be left too";
            EXPECT_FALSE(ComApartment::enter(COINIT_MULTITHREADED)) << "another model's apartment is not ours to end";
            const ComApartment taken(std::move(outer));
        }
        const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);  // every entry was left
        EXPECT_EQ(hr, S_OK);
        if (SUCCEEDED(hr)) CoUninitialize();
    }).join();
}

}  // namespace
}  // namespace ombrix::win32
