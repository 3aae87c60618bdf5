#pragma once
// Move-only owners of Win32 handles: one policy template for every kind.

#include <windows.h>

#include <utility>

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
    void reset(T handle = Invalid) {
        if (handle_ != Invalid) Close(handle_);
        handle_ = handle;
    }
    [[nodiscard]] T release() { return std::exchange(handle_, Invalid); }

private:
    T handle_ = Invalid;
};

inline void closeHkey(HKEY key) { RegCloseKey(key); }
inline void closeKernelHandle(HANDLE h) { CloseHandle(h); }

using UniqueHkey = UniqueHandle<HKEY, closeHkey, nullptr>;
using UniqueKernelHandle = UniqueHandle<HANDLE, closeKernelHandle, nullptr>;

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

}  // namespace ombrix::win32
