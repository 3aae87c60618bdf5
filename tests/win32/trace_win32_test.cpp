// The Windows programs' trace: the system's appends and moves, its error texts.
#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/failures.h"
#include "platform/files.h"
#include "platform/trace_file.h"
#include "platform/win32/debugger_output.h"
#include "platform/win32/wide.h"

namespace ombrix::win32 {
namespace {

TEST(TraceWin32, WritesTheSystemsTextAndRotatesWithTheSystemsCalls) {
    test::TempDir dir;
    sendFailuresToDebugger();
    platform::setTraceFolder(pathToUtf8(dir.path()), "ombrix");
    platform::recordFailure("a test failure", "first", {ERROR_ACCESS_DENIED});
    const std::string first = readWholeFile(dir.file("ombrix-trace.txt")).value_or("(missing)");
    EXPECT_TRUE(first.ends_with("\ta test failure: first (error 5: " + systemMessage(ERROR_ACCESS_DENIED) + ")\r\n"))
        << first;

    platform::setTraceBytesForTests(first.size() + 1);
    platform::recordFailure("a test failure", "second");
    EXPECT_EQ(readWholeFile(dir.file("ombrix-trace.txt.1")).value_or("(missing)"), first);
    EXPECT_NE(readWholeFile(dir.file("ombrix-trace.txt")).value_or("").find("a test failure: second\r\n"), std::string::npos);

    platform::setTraceFolder({}, {});
    platform::setTraceBytesForTests(platform::kTraceBytes);
    platform::setFailureSink(nullptr);
}

}  // namespace
}  // namespace ombrix::win32
