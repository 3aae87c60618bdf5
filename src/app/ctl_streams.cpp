#include "app/ctl_streams.h"

#include <algorithm>
#include <cstring>

namespace ombrix::app {

BlockOutput::BlockOutput(std::streambuf& target, std::size_t blockBytes)
    : target_(target), block_(std::max<std::size_t>(blockBytes, 1)) {
    setp(block_.data(), block_.data() + block_.size());
}

BlockOutput::~BlockOutput() { (void)emit(static_cast<std::size_t>(pptr() - pbase())); }

bool BlockOutput::emit(std::size_t count) {
    const std::size_t held = static_cast<std::size_t>(pptr() - pbase());
    const bool written =
        count == 0 || target_.sputn(pbase(), static_cast<std::streamsize>(count)) == static_cast<std::streamsize>(count);
    // What was refused is dropped: the stream fails, and the dispatcher says the output was lost.
    std::memmove(block_.data(), block_.data() + count, held - count);
    setp(block_.data(), block_.data() + block_.size());
    pbump(static_cast<int>(held - count));
    return written;
}

BlockOutput::int_type BlockOutput::overflow(int_type c) {
    const std::size_t held = static_cast<std::size_t>(pptr() - pbase());
    // Whole lines when the block holds any, so that a reader of the pipe
    // (or a console decoding UTF-8) never gets half a line.
    std::size_t count = held;
    for (std::size_t end = held; end > 0; --end) {
        if (pbase()[end - 1] == '\n') {
            count = end;
            break;
        }
    }
    if (!emit(count)) return traits_type::eof();
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

int BlockOutput::sync() {
    if (!emit(static_cast<std::size_t>(pptr() - pbase()))) return -1;
    return target_.pubsync();
}

InteractiveInput::InteractiveInput(platform::StandardInput& source, std::ostream& output, std::size_t blockBytes)
    : source_(source), output_(output), block_(std::max<std::size_t>(blockBytes, 1)) {}

InteractiveInput::int_type InteractiveInput::underflow() {
    if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
    // Whoever typed the last line waits for its answer.
    if (!source_.waiting()) output_.flush();
    const std::size_t got = source_.read(block_.data(), block_.size());
    if (got == 0) return traits_type::eof();
    setg(block_.data(), block_.data(), block_.data() + got);
    return traits_type::to_int_type(*gptr());
}

StandardStreams::StandardStreams(platform::StandardInput& source, std::ostream& out)
    : out_(out), own_(out.rdbuf()), block_(*own_), input_(source, out), in_(&input_) {
    out_.rdbuf(&block_);
}

StandardStreams::~StandardStreams() {
    out_.flush();
    out_.rdbuf(own_);
}

}  // namespace ombrix::app
