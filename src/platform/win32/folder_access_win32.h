#pragma once
// The two access lists of the store's folders, built by the system from
// their text form. Here so that a test can check, entry by entry, what is
// handed to the system.

#include <windows.h>

#include "platform/folder_access.h"
#include "platform/win32/handles.h"

namespace ombrix::win32 {

// The list of `kind` in the system's descriptor language.
[[nodiscard]] const wchar_t* folderAccessSddl(platform::FolderAccessKind kind);

// The security descriptor of `kind`; empty when the system could not build
// it (GetLastError says why).
[[nodiscard]] UniqueLocal folderSecurityDescriptor(platform::FolderAccessKind kind);

}  // namespace ombrix::win32
