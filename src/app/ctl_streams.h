#pragma once
// ombrixctl's standard streams. Output goes out in large blocks: a batch of a
// million addresses costs a handful of writes instead of one per line. Input
// comes through the platform's StandardInput, and the output is written out
// whenever the reading would have to wait, so a person typing one address
// at a time sees each answer at once.

#include <cstddef>
#include <istream>
#include <ostream>
#include <streambuf>
#include <vector>

#include "platform/standard_input.h"

namespace ombrix::app {

// Collects what is written and hands it to `target` in blocks of whole lines
// (a line longer than the block goes out as it comes), all of it on a flush.
// A target that takes less than it is given fails the stream.
class BlockOutput final : public std::streambuf {
public:
    static constexpr std::size_t kBlockBytes = 64 * 1024;
    explicit BlockOutput(std::streambuf& target, std::size_t blockBytes = kBlockBytes);
    ~BlockOutput() override;
    BlockOutput(const BlockOutput&) = delete;
    BlockOutput& operator=(const BlockOutput&) = delete;

protected:
    int_type overflow(int_type c) override;
    int sync() override;

private:
    // Hands on the first `count` bytes and keeps the rest; false when the target refused them.
    bool emit(std::size_t count);
    std::streambuf& target_;
    std::vector<char> block_;
};

// Reads `source` in blocks; before a read that would wait, flushes `output`.
class InteractiveInput final : public std::streambuf {
public:
    static constexpr std::size_t kBlockBytes = 64 * 1024;
    InteractiveInput(platform::StandardInput& source, std::ostream& output, std::size_t blockBytes = kBlockBytes);

protected:
    int_type underflow() override;

private:
    platform::StandardInput& source_;
    std::ostream& output_;
    std::vector<char> block_;
};

// main()'s streams: `out` (standard output) writes in blocks until this ends,
// and in() reads standard input through `source`.
class StandardStreams {
public:
    StandardStreams(platform::StandardInput& source, std::ostream& out);
    // Writes out what is left and gives `out` its own buffer back.
    ~StandardStreams();
    StandardStreams(const StandardStreams&) = delete;
    StandardStreams& operator=(const StandardStreams&) = delete;
    std::istream& in() { return in_; }

private:
    std::ostream& out_;
    std::streambuf* own_;
    BlockOutput block_;
    InteractiveInput input_;
    std::istream in_;
};

}  // namespace ombrix::app
