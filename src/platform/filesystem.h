#pragma once
// The few file operations the store's folder logic needs, so that a test can
// play out a machine's folders without touching the disk. Paths are UTF-8.

#include <cstddef>
#include <string>
#include <string_view>

namespace ombrix::platform {

// A file read up to a limit: what a damaged or planted file holds is never
// read whole.
struct BoundedRead {
    enum class Outcome { Read, TooLarge, Unreadable };
    Outcome outcome = Outcome::Unreadable;
    std::string bytes;  // when Read
};

class FileSystem {
public:
    virtual ~FileSystem() = default;
    [[nodiscard]] virtual bool fileExists(std::string_view path) = 0;
    // True when the directory exists afterwards, whether or not it was made now.
    virtual bool createDirectory(std::string_view path) = 0;
    // Overwrites the target.
    virtual bool copyFile(std::string_view from, std::string_view to) = 0;
    virtual bool removeFile(std::string_view path) = 0;
    // Renames, replacing the target; false when the file stays where it was.
    virtual bool moveFile(std::string_view from, std::string_view to) = 0;
    // The whole file when it holds at most `limit` bytes; TooLarge, with
    // nothing kept, when it holds more.
    [[nodiscard]] virtual BoundedRead readFile(std::string_view path, std::size_t limit) = 0;
};

// The real file system of this machine.
FileSystem& realFileSystem();

}  // namespace ombrix::platform
