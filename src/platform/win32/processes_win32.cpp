#include <windows.h>
// winternl.h needs the types of windows.h first.
#include <winternl.h>

#include <algorithm>
#include <cstdint>

#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

constexpr NTSTATUS kInfoLengthMismatch = static_cast<NTSTATUS>(0xC0000004L);

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
                               fromWide(name)});
                if (p->NextEntryOffset == 0) break;
                offset += p->NextEntryOffset;
            }
        } catch (...) {
            // Out of memory half-way: what was read is still a valid, shorter list.
            platform::recordCurrentFailure();
        }
        return out;
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
