// ombrixctl.exe: wide arguments from the system, UTF-8 to the console.
#include <windows.h>

#include <iostream>
#include <string>
#include <vector>

#include "app/ctl.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/system.h"
#include "platform/win32/wide.h"

int wmain(int argc, wchar_t** argv) {
    SetConsoleOutputCP(CP_UTF8);
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) args.push_back(ombrix::win32::fromWide(argv[i]));
    ombrix::app::CtlEnvironment env{ombrix::platform::systemRegistry(), ombrix::platform::realFileSystem(),
                                    ombrix::platform::realSystem(), std::cin, std::cout, std::cerr};
    return ombrix::app::runCtl(args, env);
}
