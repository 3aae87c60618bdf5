// Natively the registry is a text file: OMBRIX_REGISTRY names it, else one
// under the user's configuration folder.
#include <cstdlib>

#include "platform/file_registry.h"

namespace ombrix::platform {

Registry& systemRegistry() {
    static FileRegistry instance([] {
        if (const char* explicitPath = std::getenv("OMBRIX_REGISTRY"); explicitPath && *explicitPath) {
            return std::string(explicitPath);
        }
        const char* home = std::getenv("HOME");
        return std::string(home && *home ? home : ".") + "/.config/ombrix/registry.txt";
    }());
    return instance;
}

}  // namespace ombrix::platform
