#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "platform/standard_input.h"

namespace ombrix::platform {
namespace {

class NativeStandardInput final : public StandardInput {
public:
    std::size_t read(char* buffer, std::size_t size) override {
        for (;;) {
            const ssize_t got = ::read(STDIN_FILENO, buffer, size);
            if (got >= 0) return static_cast<std::size_t>(got);
            if (errno != EINTR) return 0;
        }
    }
    // A regular file always polls readable; a terminal in line mode only
    // once a whole line is typed; a pipe when bytes or its end are there.
    bool waiting() override {
        pollfd in{STDIN_FILENO, POLLIN, 0};
        return ::poll(&in, 1, 0) == 1 && (in.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
    }
};

}  // namespace

StandardInput& standardInput() {
    static NativeStandardInput input;
    return input;
}

}  // namespace ombrix::platform
