#pragma once
// The few file operations the store's folder logic needs, so that a test can
// play out a machine's folders without touching the disk. Paths are UTF-8.

#include <string>
#include <string_view>

namespace ombrix::platform {

class FileSystem {
public:
    virtual ~FileSystem() = default;
    [[nodiscard]] virtual bool fileExists(std::string_view path) = 0;
    // True when the directory exists afterwards, whether or not it was made now.
    virtual bool createDirectory(std::string_view path) = 0;
    // Overwrites the target.
    virtual bool copyFile(std::string_view from, std::string_view to) = 0;
    virtual bool removeFile(std::string_view path) = 0;
};

// The real file system of this machine.
FileSystem& realFileSystem();

}  // namespace ombrix::platform
