#pragma once
// Standard input as a script of chunks: each arrives whole, and a chunk
// marked `late` is not there yet when the reader asks what is waiting (a
// person still typing it). Each read notes what the output held by then.

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "platform/standard_input.h"

namespace ombrix::test {

class FakeStandardInput final : public platform::StandardInput {
public:
    struct Chunk {
        std::string bytes;
        bool late = false;
    };
    FakeStandardInput(std::vector<Chunk> chunks, std::function<std::string()> output)
        : chunks_(std::move(chunks)), output_(std::move(output)) {}

    std::size_t read(char* buffer, std::size_t size) override {
        shownBeforeRead.push_back(output_());
        if (next_ == chunks_.size()) return 0;
        std::string& bytes = chunks_[next_].bytes;
        const std::size_t n = std::min(size, bytes.size());
        std::memcpy(buffer, bytes.data(), n);
        bytes.erase(0, n);
        if (bytes.empty()) ++next_;
        return n;
    }
    bool waiting() override { return next_ == chunks_.size() || !chunks_[next_].late; }

    std::vector<std::string> shownBeforeRead;  // the output as each read began

private:
    std::vector<Chunk> chunks_;
    std::size_t next_ = 0;
    std::function<std::string()> output_;
};

}  // namespace ombrix::test
