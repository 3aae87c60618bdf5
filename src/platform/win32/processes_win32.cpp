#include <windows.h>
// winternl.h needs the types of windows.h first.
#include <winternl.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

constexpr NTSTATUS kInfoLengthMismatch = static_cast<NTSTATUS>(0xC0000004L);

std::wstring executableOf(std::uint32_t id) {
    // Limited query: granted for most processes of other users too.
    const UniqueKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    if (!process) return {};
    std::wstring path(MAX_PATH, L'\0');
    for (int attempt = 0; attempt < 3; ++attempt) {
        DWORD size = static_cast<DWORD>(path.size());
        if (QueryFullProcessImageNameW(process.get(), 0, path.data(), &size)) {
            path.resize(size);
            return path;
        }
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return {};
        path.resize(path.size() * 4);
    }
    return {};
}

std::wstring hex4(WORD value) {
    static constexpr wchar_t kDigits[] = L"0123456789abcdef";
    std::wstring out(4, L'0');
    for (int i = 3; i >= 0; --i, value >>= 4) out[static_cast<std::size_t>(i)] = kDigits[value & 15];
    return out;
}

// OriginalFilename and InternalName, from the first language of the resource that has them.
std::vector<std::string> versionNames(const std::wstring& file) {
    // Neutral: the executable's own resource, not its language file's.
    const DWORD flags = FILE_VER_GET_NEUTRAL;
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeExW(flags, file.c_str(), &ignored);
    if (size == 0) return {};
    std::vector<std::uint64_t> data(size / sizeof(std::uint64_t) + 1);
    if (!GetFileVersionInfoExW(flags, file.c_str(), 0, size, data.data())) return {};
    struct Translation {
        WORD language, codePage;
    };
    void* block = nullptr;
    UINT bytes = 0;
    std::vector<Translation> tables;
    if (VerQueryValueW(data.data(), L"\\VarFileInfo\\Translation", &block, &bytes) && block) {
        const auto* listed = static_cast<const Translation*>(block);
        tables.assign(listed, listed + bytes / sizeof(Translation));
    }
    // A resource without a translation list is usually US English, Unicode or Western.
    tables.push_back({0x0409, 0x04B0});
    tables.push_back({0x0409, 0x04E4});
    std::vector<std::string> names;
    for (const auto& t : tables) {
        for (const wchar_t* field : {L"OriginalFilename", L"InternalName"}) {
            const std::wstring query = L"\\StringFileInfo\\" + hex4(t.language) + hex4(t.codePage) + L"\\" + field;
            void* text = nullptr;
            UINT length = 0;
            if (!VerQueryValueW(data.data(), query.c_str(), &text, &length) || !text) continue;
            std::wstring_view value(static_cast<const wchar_t*>(text), wcsnlen(static_cast<const wchar_t*>(text), length));
            while (!value.empty() && value.back() == L' ') value.remove_suffix(1);
            if (value.empty()) continue;
            std::string name = fromWide(value);
            if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
        }
        if (!names.empty()) break;
    }
    return names;
}

class Win32Processes final : public platform::Processes {
public:
    // The system's process list in one call: a tool-help snapshot copies the
    // same list into a section and maps it again for every entry read.
    std::vector<platform::ProcessEntry> snapshot() override {
        std::vector<platform::ProcessEntry> out;
        try {
            ULONG size = 256 * 1024;
            std::vector<std::uint64_t> buffer;  // the records need 8-byte alignment
            NTSTATUS status = 0;
            for (int attempt = 0; attempt < 5; ++attempt) {
                buffer.assign(size / sizeof(std::uint64_t) + 1, 0);
                ULONG needed = 0;
                status = NtQuerySystemInformation(SystemProcessInformation, buffer.data(), size, &needed);
                if (status != kInfoLengthMismatch) break;
                size = std::max<ULONG>(needed + 64 * 1024, size * 2);  // processes start meanwhile
            }
            if (status < 0) return {};
            const auto* bytes = reinterpret_cast<const unsigned char*>(buffer.data());
            for (std::size_t offset = 0;;) {
                const auto* p = reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(bytes + offset);
                const std::wstring_view name(p->ImageName.Buffer ? p->ImageName.Buffer : L"",
                                             p->ImageName.Length / sizeof(wchar_t));
                out.push_back({static_cast<std::uint32_t>(reinterpret_cast<ULONG_PTR>(p->UniqueProcessId)),
                               fromWide(name), static_cast<std::uint64_t>(p->CreateTime.QuadPart)});
                if (p->NextEntryOffset == 0) break;
                offset += p->NextEntryOffset;
            }
        } catch (...) {
            // Out of memory half-way: what was read is still a valid, shorter list.
            platform::recordCurrentFailure();
        }
        return out;
    }

    std::vector<std::string> originalNames(const platform::ProcessEntry& process) override {
        // The idle and system processes have no file.
        if (process.id <= 4) return {};
        try {
            const std::wstring file = executableOf(process.id);
            return file.empty() ? std::vector<std::string>() : versionNames(file);
        } catch (...) {
            platform::recordCurrentFailure();
            return {};
        }
    }

    bool terminate(std::uint32_t id) override {
        // Id 0 is the idle process; never ask for it.
        if (id == 0) return false;
        // With SYNCHRONIZE a process that has already ended (its object kept
        // alive by someone's handle) can be told apart: terminating it would
        // report a success. Where only termination is granted, it is enough.
        UniqueKernelHandle process(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
        if (process) {
            if (WaitForSingleObject(process.get(), 0) == WAIT_OBJECT_0) return false;
        } else {
            process.reset(OpenProcess(PROCESS_TERMINATE, FALSE, id));
            if (!process) return false;
        }
        return TerminateProcess(process.get(), 0) != FALSE;
    }
};

}  // namespace

std::unique_ptr<platform::Processes> makeProcesses() { return std::make_unique<Win32Processes>(); }

}  // namespace ombrix::win32
