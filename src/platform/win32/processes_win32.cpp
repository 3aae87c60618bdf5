#include <windows.h>
// tlhelp32.h needs the types of windows.h first.
#include <tlhelp32.h>

#include <cwchar>

#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

class Win32Processes final : public platform::Processes {
public:
    std::vector<platform::ProcessEntry> snapshot() override {
        std::vector<platform::ProcessEntry> out;
        try {
            const UniqueKernelHandle snap = adoptInvalidOnFailure(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
            if (!snap) return {};
            PROCESSENTRY32W entry{};
            entry.dwSize = sizeof entry;
            for (BOOL more = Process32FirstW(snap.get(), &entry); more; more = Process32NextW(snap.get(), &entry)) {
                // The name field is a fixed buffer: the name ends at the first NUL.
                const std::size_t length = wcsnlen(entry.szExeFile, std::size(entry.szExeFile));
                out.push_back({entry.th32ProcessID, fromWide(std::wstring_view(entry.szExeFile, length))});
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
