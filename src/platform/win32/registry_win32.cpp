#include <windows.h>

#include "platform/registry.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::platform {
namespace {

using win32::fromWide;
using win32::toWide;

HKEY rootKey(RegRoot root) { return root == RegRoot::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER; }

class Win32Registry final : public Registry {
public:
    std::optional<std::string> readValue(RegRoot root, std::string_view path, std::string_view name) override {
        win32::UniqueHkey key;
        if (RegOpenKeyExW(rootKey(root), toWide(path).c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
            return std::nullopt;
        }
        const std::wstring valueName = toWide(name);
        DWORD type = 0, size = 0;
        if (RegQueryValueExW(key.get(), valueName.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS) {
            return std::nullopt;
        }
        if (type == REG_DWORD) {
            DWORD v = 0;
            size = sizeof v;
            if (RegQueryValueExW(key.get(), valueName.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&v), &size) !=
                ERROR_SUCCESS) {
                return std::nullopt;
            }
            return std::to_string(v);
        }
        if (type != REG_SZ && type != REG_EXPAND_SZ) return std::nullopt;
        std::wstring buffer(size / sizeof(wchar_t) + 1, L'\0');
        size = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
        if (RegQueryValueExW(key.get(), valueName.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()),
                             &size) != ERROR_SUCCESS) {
            return std::nullopt;
        }
        buffer.resize(size / sizeof(wchar_t));
        while (!buffer.empty() && buffer.back() == L'\0') buffer.pop_back();
        return fromWide(buffer);
    }

    bool writeString(RegRoot root, std::string_view path, std::string_view name, std::string_view value) override {
        const std::wstring data = toWide(value);
        return write(root, path, name, REG_SZ, data.c_str(), (data.size() + 1) * sizeof(wchar_t));
    }

    bool writeDword(RegRoot root, std::string_view path, std::string_view name, std::uint32_t value) override {
        const DWORD v = value;
        return write(root, path, name, REG_DWORD, &v, sizeof v);
    }

    bool deleteValue(RegRoot root, std::string_view path, std::string_view name) override {
        win32::UniqueHkey key;
        const LONG open = RegOpenKeyExW(rootKey(root), toWide(path).c_str(), 0, KEY_SET_VALUE, key.put());
        if (open == ERROR_FILE_NOT_FOUND) return true;
        if (open != ERROR_SUCCESS) return false;
        const LONG rc = RegDeleteValueW(key.get(), toWide(name).c_str());
        return rc == ERROR_SUCCESS || rc == ERROR_FILE_NOT_FOUND;
    }

    bool keyExists(RegRoot root, std::string_view path) override {
        win32::UniqueHkey key;
        return RegOpenKeyExW(rootKey(root), toWide(path).c_str(), 0, KEY_QUERY_VALUE, key.put()) !=
               ERROR_FILE_NOT_FOUND;
    }

    bool deleteEmptyKey(RegRoot root, std::string_view path) override {
        const std::wstring widePath = toWide(path);
        win32::UniqueHkey key;
        const LONG open = RegOpenKeyExW(rootKey(root), widePath.c_str(), 0, KEY_QUERY_VALUE, key.put());
        if (open == ERROR_FILE_NOT_FOUND) return true;
        if (open != ERROR_SUCCESS) return false;
        DWORD subkeys = 0, values = 0;
        if (RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr,
                             nullptr, nullptr, nullptr) != ERROR_SUCCESS ||
            subkeys != 0 || values != 0) {
            return false;
        }
        key.reset();
        // The system refuses a key with subkeys but would take its values
        // along: a value written in the instant since the count is the one
        // thing this cannot rule out.
        const LONG rc = RegDeleteKeyW(rootKey(root), widePath.c_str());
        return rc == ERROR_SUCCESS || rc == ERROR_FILE_NOT_FOUND;
    }

private:
    static bool write(RegRoot root, std::string_view path, std::string_view name, DWORD type, const void* data,
                      std::size_t bytes) {
        win32::UniqueHkey key;
        if (RegCreateKeyExW(rootKey(root), toWide(path).c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, key.put(),
                            nullptr) != ERROR_SUCCESS) {
            return false;
        }
        return RegSetValueExW(key.get(), toWide(name).c_str(), 0, type, static_cast<const BYTE*>(data),
                              static_cast<DWORD>(bytes)) == ERROR_SUCCESS;
    }
};

}  // namespace

Registry& systemRegistry() {
    static Win32Registry instance;
    return instance;
}

}  // namespace ombrix::platform
