#include <windows.h>

#include <string>

#include "platform/durable.h"
#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::platform {
namespace {

class Win32DurableWriter final : public DurableWriter {
public:
    bool replace(std::string_view path, std::string_view bytes) override {
        return guarded([&] { return replaceOrThrow(path, bytes); });
    }

private:
    static bool replaceOrThrow(std::string_view path, std::string_view bytes) {
        const std::wstring target = win32::toWide(path);
        const std::wstring temp = target + L".new";
        {
            HANDLE raw = CreateFileW(temp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                     nullptr);
            if (raw == INVALID_HANDLE_VALUE) return false;
            const win32::UniqueKernelHandle file(raw);
            DWORD written = 0;
            const bool ok = WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
                            written == bytes.size() && FlushFileBuffers(file.get());
            if (!ok) {
                DeleteFileW(temp.c_str());
                return false;
            }
        }
        if (!MoveFileExW(temp.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
            DeleteFileW(temp.c_str());
            return false;
        }
        return true;
    }
};

}  // namespace

DurableWriter& systemDurableWriter() {
    static Win32DurableWriter instance;
    return instance;
}

}  // namespace ombrix::platform
