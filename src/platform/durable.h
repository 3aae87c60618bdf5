#pragma once
// Replacing a small file so that a power cut leaves either the old file or
// the new one whole: a new file is written, flushed to the disk and renamed
// over the old one.

#include <string_view>

namespace ombrix::platform {

class DurableWriter {
public:
    virtual ~DurableWriter() = default;
    // False when the new file could not be made durable; the old one is then
    // still in place.
    virtual bool replace(std::string_view path, std::string_view bytes) = 0;
};

// This machine's disk (POSIX fsync natively, FlushFileBuffers on Windows).
DurableWriter& systemDurableWriter();

}  // namespace ombrix::platform
