#pragma once
// Move-only owners of Win32 resources: one policy template for every handle
// kind, and small owners of their own for what is not a handle (a VARIANT,
// an array of them, a window's device context, the thread's COM or OLE
// apartment, a COM reference).

#include <windows.h>
#include <bcrypt.h>
#include <ole2.h>
#include <oleauto.h>
#include <winspool.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace ombrix::win32 {

template <typename T, auto Close, T Invalid>
class UniqueHandle {
public:
    UniqueHandle() = default;
    explicit UniqueHandle(T handle) : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(std::exchange(other.handle_, Invalid)) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) reset(std::exchange(other.handle_, Invalid));
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { reset(); }

    [[nodiscard]] T get() const { return handle_; }
    [[nodiscard]] explicit operator bool() const { return handle_ != Invalid; }
    // For out-parameters: releases the current handle first.
    T* put() {
        reset();
        return &handle_;
    }
    // The owner lets go before closing, as unique_ptr does: a window being
    // destroyed must not find itself still owned by the object it calls into.
    void reset(T handle = Invalid) {
        const T old = std::exchange(handle_, handle);
        if (old != Invalid) Close(old);
    }
    [[nodiscard]] T release() { return std::exchange(handle_, Invalid); }

private:
    T handle_ = Invalid;
};

inline void closeHkey(HKEY key) { RegCloseKey(key); }
inline void closeKernelHandle(HANDLE h) { CloseHandle(h); }
inline void destroyWindow(HWND window) { DestroyWindow(window); }
inline void deleteFont(HFONT font) { DeleteObject(font); }
inline void destroyMenu(HMENU menu) { DestroyMenu(menu); }
inline void freeBstr(BSTR text) { SysFreeString(text); }
inline void unhook(HHOOK hook) { UnhookWindowsHookEx(hook); }
inline void freeLocal(HLOCAL memory) { LocalFree(memory); }
inline void freeCoTaskMem(void* memory) { CoTaskMemFree(memory); }
inline void unhookWinEvent(HWINEVENTHOOK hook) { UnhookWinEvent(hook); }
inline void closePrinter(HANDLE printer) { ClosePrinter(printer); }
inline void deregisterEventSource(HANDLE source) { DeregisterEventSource(source); }
inline void closeAlgorithm(BCRYPT_ALG_HANDLE algorithm) { BCryptCloseAlgorithmProvider(algorithm, 0); }
inline void destroyHash(BCRYPT_HASH_HANDLE hash) { BCryptDestroyHash(hash); }

using UniqueHkey = UniqueHandle<HKEY, closeHkey, nullptr>;
// Processes, threads, snapshots, files, and the single-instance mutex.
using UniqueKernelHandle = UniqueHandle<HANDLE, closeKernelHandle, nullptr>;
using UniqueWindow = UniqueHandle<HWND, destroyWindow, nullptr>;
using UniqueFont = UniqueHandle<HFONT, deleteFont, nullptr>;
using UniqueMenu = UniqueHandle<HMENU, destroyMenu, nullptr>;
using UniqueBstr = UniqueHandle<BSTR, freeBstr, nullptr>;
// A hook of this thread, removed when its owner goes.
using UniqueHook = UniqueHandle<HHOOK, unhook, nullptr>;
// Memory the system allocated for the caller (a security descriptor, a SID
// as text, a formatted message, a command line's words).
using UniqueLocal = UniqueHandle<HLOCAL, freeLocal, nullptr>;
// Memory COM or the shell allocated for the caller (an item id list).
template <typename Pointer>
using UniqueCoTaskMem = UniqueHandle<Pointer, freeCoTaskMem, nullptr>;
// An accessibility event hook, removed when its owner goes.
using UniqueWinEventHook = UniqueHandle<HWINEVENTHOOK, unhookWinEvent, nullptr>;
// A printer opened for its settings (OpenPrinterW).
using UniquePrinter = UniqueHandle<HANDLE, closePrinter, nullptr>;
// The program's source in the event log (RegisterEventSourceW).
using UniqueEventSource = UniqueHandle<HANDLE, deregisterEventSource, nullptr>;
// CNG's algorithm providers and the hashes made from them; a hash goes
// before the provider it was made from.
using UniqueAlgorithm = UniqueHandle<BCRYPT_ALG_HANDLE, closeAlgorithm, nullptr>;
using UniqueHash = UniqueHandle<BCRYPT_HASH_HANDLE, destroyHash, nullptr>;

// For the calls that fail with INVALID_HANDLE_VALUE instead of null
// (CreateToolhelp32Snapshot, CreateFileW): a pointer constant cannot be a
// template argument, so the owner holds null for it.
[[nodiscard]] inline UniqueKernelHandle adoptInvalidOnFailure(HANDLE handle) {
    return UniqueKernelHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

// Owns one reference to a COM interface; move-only like the handles above.
template <typename T>
class ComPtr {
public:
    ComPtr() = default;
    // Takes over the reference the caller holds.
    explicit ComPtr(T* p) : p_(p) {}
    ComPtr(ComPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    ComPtr& operator=(ComPtr&& other) noexcept {
        if (this != &other) reset(std::exchange(other.p_, nullptr));
        return *this;
    }
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    ~ComPtr() { reset(); }

    // A new reference of its own to an object someone else holds.
    [[nodiscard]] static ComPtr share(T* p) {
        if (p != nullptr) p->AddRef();
        return ComPtr(p);
    }

    [[nodiscard]] T* get() const { return p_; }
    T* operator->() const { return p_; }
    [[nodiscard]] explicit operator bool() const { return p_ != nullptr; }
    // For out-parameters: releases the current reference first.
    T** put() {
        reset();
        return &p_;
    }
    void** putVoid() { return reinterpret_cast<void**>(put()); }
    void reset(T* p = nullptr) {
        if (p_ != nullptr) p_->Release();
        p_ = p;
    }
    [[nodiscard]] T* release() { return std::exchange(p_, nullptr); }

private:
    T* p_ = nullptr;
};

// Owns what a VARIANT holds (a string, an interface, an array).
class UniqueVariant {
public:
    UniqueVariant() noexcept { VariantInit(&v_); }
    UniqueVariant(UniqueVariant&& other) noexcept : v_(other.v_) { VariantInit(&other.v_); }
    UniqueVariant& operator=(UniqueVariant&& other) noexcept {
        if (this != &other) {
            reset();
            v_ = other.v_;
            VariantInit(&other.v_);
        }
        return *this;
    }
    UniqueVariant(const UniqueVariant&) = delete;
    UniqueVariant& operator=(const UniqueVariant&) = delete;
    ~UniqueVariant() { reset(); }

    // A copy of `text` as a string VARIANT; empty (VT_EMPTY) when out of memory.
    [[nodiscard]] static UniqueVariant ofString(const wchar_t* text, UINT length) {
        UniqueVariant v;
        v.v_.bstrVal = SysAllocStringLen(text, length);
        if (v.v_.bstrVal != nullptr) v.v_.vt = VT_BSTR;
        return v;
    }

    [[nodiscard]] const VARIANT& get() const { return v_; }
    const VARIANT* operator->() const { return &v_; }
    // For out-parameters: clears what it held first.
    VARIANT* put() {
        reset();
        return &v_;
    }
    void reset() noexcept { VariantClear(&v_); }
    [[nodiscard]] VARIANT release() noexcept {
        VARIANT out = v_;
        VariantInit(&v_);
        return out;
    }

private:
    VARIANT v_;
};

// VARIANTs in one block, for a call that fills an array of them
// (AccessibleChildren): each starts empty and is cleared when the owner goes.
class UniqueVariantArray {
public:
    explicit UniqueVariantArray(std::size_t count) : items_(count) {
        for (VARIANT& v : items_) VariantInit(&v);
    }
    UniqueVariantArray(const UniqueVariantArray&) = delete;
    UniqueVariantArray& operator=(const UniqueVariantArray&) = delete;
    ~UniqueVariantArray() {
        for (VARIANT& v : items_) VariantClear(&v);
    }

    [[nodiscard]] std::size_t size() const { return items_.size(); }
    [[nodiscard]] VARIANT* data() { return items_.data(); }
    [[nodiscard]] const VARIANT& operator[](std::size_t i) const { return items_[i]; }

private:
    std::vector<VARIANT> items_;
};

// A window's device context, given back to that window.
class WindowDc {
public:
    explicit WindowDc(HWND window) : window_(window), dc_(GetDC(window)) {}
    WindowDc(WindowDc&& other) noexcept
        : window_(std::exchange(other.window_, nullptr)), dc_(std::exchange(other.dc_, nullptr)) {}
    WindowDc& operator=(WindowDc&& other) noexcept {
        if (this != &other) {
            reset();
            window_ = std::exchange(other.window_, nullptr);
            dc_ = std::exchange(other.dc_, nullptr);
        }
        return *this;
    }
    WindowDc(const WindowDc&) = delete;
    WindowDc& operator=(const WindowDc&) = delete;
    ~WindowDc() { reset(); }

    [[nodiscard]] HDC get() const { return dc_; }
    [[nodiscard]] explicit operator bool() const { return dc_ != nullptr; }
    void reset() noexcept {
        if (HDC dc = std::exchange(dc_, nullptr)) ReleaseDC(window_, dc);
        window_ = nullptr;
    }

private:
    HWND window_ = nullptr;
    HDC dc_ = nullptr;
};

inline HRESULT enterCom(DWORD model) { return CoInitializeEx(nullptr, model); }
inline void leaveCom() { CoUninitialize(); }
inline HRESULT enterOle() { return OleInitialize(nullptr); }
inline void leaveOle() { OleUninitialize(); }

// This thread's apartment, entered by enter() and left when the owner goes.
// A thread already in another model keeps it as it is: that one is not ours
// to end, and the owner holds nothing.
template <auto Enter, auto Leave>
class UniqueApartment {
public:
    UniqueApartment() = default;
    template <typename... Arguments>
    [[nodiscard]] static UniqueApartment enter(Arguments... arguments) noexcept {
        UniqueApartment apartment;
        apartment.entered_ = SUCCEEDED(Enter(arguments...));
        return apartment;
    }
    UniqueApartment(UniqueApartment&& other) noexcept : entered_(std::exchange(other.entered_, false)) {}
    UniqueApartment& operator=(UniqueApartment&& other) noexcept {
        if (this != &other) {
            reset();
            entered_ = std::exchange(other.entered_, false);
        }
        return *this;
    }
    UniqueApartment(const UniqueApartment&) = delete;
    UniqueApartment& operator=(const UniqueApartment&) = delete;
    ~UniqueApartment() { reset(); }

    [[nodiscard]] explicit operator bool() const { return entered_; }
    void reset() noexcept {
        if (std::exchange(entered_, false)) Leave();
    }

private:
    bool entered_ = false;
};

// COM, in the model enter() names.
using ComApartment = UniqueApartment<enterCom, leaveCom>;
// OLE: COM's single-threaded apartment with what a hosted control needs
// besides (the clipboard, drag and drop, in-place activation).
using OleApartment = UniqueApartment<enterOle, leaveOle>;

}  // namespace ombrix::win32
