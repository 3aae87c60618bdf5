#include <windows.h>

#include <winspool.h>

#include <vector>

#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

class Win32Printers final : public platform::Printers {
public:
    std::string profileString(std::string_view section, std::string_view key) override {
        return platform::guarded([&] {
            std::vector<wchar_t> buffer(1024);
            const DWORD n = GetProfileStringW(toWide(section).c_str(), toWide(key).c_str(), L"", buffer.data(),
                                              static_cast<DWORD>(buffer.size()));
            return fromWide(std::wstring_view(buffer.data(), n));
        });
    }

    bool writeDefaultDevice(std::string_view device) override {
        return platform::guarded([&] {
            if (!WriteProfileStringW(L"windows", L"Device", toWide(device).c_str())) return false;
            // Every top-level window learns of it; one that hangs does not hold us.
            DWORD_PTR ignored = 0;
            SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0, reinterpret_cast<LPARAM>(L"windows"),
                                SMTO_ABORTIFHUNG, 2000, &ignored);
            return true;
        });
    }

    std::vector<std::string> installed() override {
        return platform::guarded([&] {
            constexpr DWORD kFlags = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;
            DWORD needed = 0;
            DWORD count = 0;
            EnumPrintersW(kFlags, nullptr, 4, nullptr, 0, &needed, &count);
            std::vector<std::string> names;
            if (needed == 0) return names;
            std::vector<BYTE> buffer(needed);
            if (!EnumPrintersW(kFlags, nullptr, 4, buffer.data(), needed, &needed, &count)) return names;
            const auto* info = reinterpret_cast<const PRINTER_INFO_4W*>(buffer.data());
            for (DWORD i = 0; i < count; ++i) {
                if (info[i].pPrinterName != nullptr) names.push_back(fromWide(info[i].pPrinterName));
            }
            return names;
        });
    }

    bool rewriteSettings(std::string_view printer) override {
        return platform::guarded([&] {
            std::wstring name = toWide(printer);
            UniquePrinter opened;
            PRINTER_DEFAULTSW access{nullptr, nullptr, PRINTER_ALL_ACCESS};
            if (!OpenPrinterW(name.data(), opened.put(), &access) || !opened) return false;
            DWORD needed = 0;
            GetPrinterW(opened.get(), 2, nullptr, 0, &needed);
            if (needed == 0) return false;
            std::vector<BYTE> info(needed);
            if (!GetPrinterW(opened.get(), 2, info.data(), needed, &needed)) return false;
            return SetPrinterW(opened.get(), 2, info.data(), 0) != FALSE;
        });
    }
};

}  // namespace

std::unique_ptr<platform::Printers> makePrinters() { return std::make_unique<Win32Printers>(); }

}  // namespace ombrix::win32
