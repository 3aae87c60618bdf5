// ombrixctl natively: the same commands on the file-backed registry.
#include <iostream>
#include <string>
#include <vector>

#include "app/ctl.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/system.h"

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    ombrix::app::CtlEnvironment env{ombrix::platform::systemRegistry(), ombrix::platform::realFileSystem(),
                                    ombrix::platform::realSystem(), std::cin, std::cout, std::cerr};
    return ombrix::app::runCtl(args, env);
}
