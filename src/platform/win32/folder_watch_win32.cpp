#include <windows.h>

#include "platform/folder_watch.h"
#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/wide.h"

namespace ombrix::platform {
namespace {

using win32::UniqueHandle;
using win32::UniqueKernelHandle;

inline void closeChangeNotification(HANDLE h) { FindCloseChangeNotification(h); }
// The system's failure value is INVALID_HANDLE_VALUE; it is kept as null here.
using UniqueChangeNotification = UniqueHandle<HANDLE, closeChangeNotification, nullptr>;

class ChangeNotification final : public FolderWatch {
public:
    ChangeNotification() : stop_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

    bool watch(std::string_view folder) override {
        const HANDLE h = FindFirstChangeNotificationW(
            win32::toWide(folder).c_str(), FALSE,
            FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE);
        if (h == INVALID_HANDLE_VALUE) {
            recordFailure("the managed profiles' folder cannot be watched", folder, SystemError{GetLastError()});
            change_.reset();
            return false;
        }
        change_.reset(h);
        return true;
    }

    Wake wait(std::chrono::milliseconds timeout) override {
        HANDLE handles[2] = {stop_.get(), nullptr};
        DWORD count = 1;
        if (change_) handles[count++] = change_.get();
        const DWORD r = WaitForMultipleObjects(count, handles, FALSE, static_cast<DWORD>(timeout.count()));
        if (r == WAIT_OBJECT_0) return Wake::Stopped;
        if (r == WAIT_OBJECT_0 + 1) {
            if (change_ && !FindNextChangeNotification(change_.get())) change_.reset();
            return Wake::Changed;
        }
        // A failed wait must not spin: the stop event alone is waited for.
        if (r == WAIT_FAILED && WaitForSingleObject(stop_.get(), static_cast<DWORD>(timeout.count())) == WAIT_OBJECT_0) {
            return Wake::Stopped;
        }
        return Wake::TimedOut;
    }

    void stop() override { SetEvent(stop_.get()); }

private:
    // watch() and wait() run on the follower's thread; stop() only sets the event.
    UniqueKernelHandle stop_;
    UniqueChangeNotification change_;
};

}  // namespace

std::unique_ptr<FolderWatch> makeFolderWatch() { return std::make_unique<ChangeNotification>(); }

}  // namespace ombrix::platform
