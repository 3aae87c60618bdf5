#include "platform/win32/printers.h"

#include <windows.h>
#include <winspool.h>

#include <vector>

#include "platform/win32/wide.h"

namespace ombrix::win32 {

std::vector<std::string> installedPrinters() {
    constexpr DWORD kFlags = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;
    DWORD needed = 0;
    DWORD count = 0;
    EnumPrintersW(kFlags, nullptr, 4, nullptr, 0, &needed, &count);
    if (needed == 0) return {};
    std::vector<BYTE> buffer(needed);
    if (!EnumPrintersW(kFlags, nullptr, 4, buffer.data(), needed, &needed, &count)) return {};
    const auto* info = reinterpret_cast<const PRINTER_INFO_4W*>(buffer.data());
    std::vector<std::string> names;
    for (DWORD i = 0; i < count; ++i) {
        if (info[i].pPrinterName != nullptr) names.push_back(fromWide(info[i].pPrinterName));
    }
    return names;
}

}  // namespace ombrix::win32
