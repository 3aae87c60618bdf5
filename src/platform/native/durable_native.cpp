#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "platform/durable.h"
#include "platform/files.h"

namespace ombrix::platform {
namespace {

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

class PosixDurableWriter final : public DurableWriter {
public:
    bool replace(std::string_view path, std::string_view bytes) override {
        const std::string target(path);
        const std::string temp = target + ".new";
        const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd < 0) return false;
        const bool written = writeAll(fd, bytes) && ::fsync(fd) == 0;
        const bool closed = ::close(fd) == 0;
        if (!written || !closed || std::rename(temp.c_str(), target.c_str()) != 0) {
            ::unlink(temp.c_str());
            return false;
        }
        // The rename itself lives in the folder: flush that too.
        const std::string folder = pathToUtf8(pathFromUtf8(target).parent_path());
        const int dir = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (dir >= 0) {
            ::fsync(dir);
            ::close(dir);
        }
        return true;
    }
};

}  // namespace

DurableWriter& systemDurableWriter() {
    static PosixDurableWriter instance;
    return instance;
}

}  // namespace ombrix::platform
