#pragma once
// Standard input as the bytes that come, and whether more is already there.
// The command line reads through it so that it can tell a person typing one
// line at a time, who must see each answer at once, from a file or a pipe
// full of lines, whose answers are best written in large blocks.

#include <cstddef>

namespace ombrix::platform {

class StandardInput {
public:
    virtual ~StandardInput() = default;
    // At most `size` bytes, as they stand (no line-end or end-of-file
    // character is translated), waiting only until some come; 0 at the end
    // of the input or when it cannot be read.
    [[nodiscard]] virtual std::size_t read(char* buffer, std::size_t size) = 0;
    // Whether read() would return without waiting: bytes in a pipe, a whole
    // line typed ahead on a terminal or console, a file not read to its end
    // (its end too returns at once). False when it cannot be told, so that
    // the caller shows what it has rather than keep it from someone waiting.
    [[nodiscard]] virtual bool waiting() = 0;
};

// This process's standard input.
StandardInput& standardInput();

}  // namespace ombrix::platform
