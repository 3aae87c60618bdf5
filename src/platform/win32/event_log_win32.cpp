// The program's events in the Application log, under the source the
// installer registers (its message file is ombrix.exe). Without that
// registration the system still keeps each event and its data; only the
// viewer cannot show the text around them.
#include <windows.h>

#include <memory>
#include <vector>

#include "platform/event_log.h"
#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

WORD eventType(platform::EventLevel level) {
    switch (level) {
        case platform::EventLevel::Error: return EVENTLOG_ERROR_TYPE;
        case platform::EventLevel::Warning: return EVENTLOG_WARNING_TYPE;
        case platform::EventLevel::Information: break;
    }
    return EVENTLOG_INFORMATION_TYPE;
}

// The SID of the process's user, so that each event names the pupil's (or
// the administrator's) Windows account; empty when it cannot be read.
std::vector<BYTE> processUserSid() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return {};
    const UniqueKernelHandle owned(token);
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    if (size == 0) return {};
    std::vector<BYTE> buffer(size);
    if (!GetTokenInformation(token, TokenUser, buffer.data(), size, &size)) return {};
    const PSID sid = reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid;
    if (!IsValidSid(sid)) return {};
    std::vector<BYTE> copy(GetLengthSid(sid));
    if (!CopySid(static_cast<DWORD>(copy.size()), copy.data(), sid)) return {};
    return copy;
}

class Win32EventLog final : public platform::EventLog {
public:
    bool report(platform::EventLevel level, std::uint32_t id, const std::vector<std::string>& strings) override {
        if (!source_) {
            // Opened at the first event: most runs of the program report none.
            source_.reset(RegisterEventSourceW(nullptr, kEventSource));
            if (!source_) {
                // Once: the next event tries again, without a line each.
                const DWORD error = GetLastError();
                if (!openFailed_) platform::recordFailure("the event source could not be opened", "Ombrix", {error});
                openFailed_ = true;
                return false;
            }
            user_ = processUserSid();
        }
        std::vector<std::wstring> wide;
        wide.reserve(strings.size());
        for (const auto& s : strings) wide.push_back(toWide(s));
        std::vector<LPCWSTR> pointers;
        for (const auto& w : wide) pointers.push_back(w.c_str());
        return ReportEventW(source_.get(), eventType(level), 0, id, user_.empty() ? nullptr : user_.data(),
                            static_cast<WORD>(pointers.size()), 0, pointers.empty() ? nullptr : pointers.data(),
                            nullptr) != FALSE;
    }

private:
    static constexpr const wchar_t* kEventSource = L"Ombrix";
    UniqueEventSource source_;
    std::vector<BYTE> user_;
    bool openFailed_ = false;
};

}  // namespace

std::unique_ptr<platform::EventLog> makeEventLog() { return std::make_unique<Win32EventLog>(); }

}  // namespace ombrix::win32
