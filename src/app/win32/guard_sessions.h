#pragma once
// The guard service's hands: which sessions have someone signed in, and
// starting the program in one of them as that session's user.

#include <windows.h>

#include <string>
#include <vector>

#include "app/guard.h"
#include "platform/win32/handles.h"

namespace ombrix::win32 {

// The sessions with a signed-in user (active, connected or disconnected):
// the services' own session has none.
[[nodiscard]] std::vector<app::SessionId> signedInSessions();

// The program running in `session`: one already there (started before the
// service, or by hand) is adopted, so a session never has two; otherwise
// `program` is started with the session user's token, environment and
// desktop. Null, with the system's words in `error`, when neither worked:
// never started with the service's own token on Windows.
[[nodiscard]] UniqueKernelHandle programIn(app::SessionId session, const std::wstring& program, std::string& error);

}  // namespace ombrix::win32
