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

}  // namespace ombrix::win32
