#include "platform/trace_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <regex>
#include <stdexcept>

#include "fakes/fixtures.h"
#include "platform/failures.h"
#include "platform/files.h"

namespace ombrix::platform {
namespace {

namespace fs = std::filesystem;

// Each test starts and ends with no trace folder, the program's bound and the library's calls.
class TraceFile : public ::testing::Test {
protected:
    TraceFile() { setTraceFolder({}, {}); }
    ~TraceFile() override { setTraceFolder({}, {}), setTraceBytesForTests(kTraceBytes), setTraceSystem(library); }
    std::string read(std::string_view name) const { return readWholeFile(dir.file(name)).value_or(""); }
    // The subjects of the "rotation" lines in a file, e.g. "n4n5".
    std::string subjects(std::string_view name) const {
        const std::string text = read(name);
        std::string found;
        for (auto at = text.find("rotation: "); at != std::string::npos; at = text.find("rotation: ", at + 1))
            found += text.substr(at + 10, 2);
        return found;
    }
    const TraceSystem library = traceSystem();
    test::TempDir dir;
};

TEST_F(TraceFile, OneLinePerFailureWithTimePlaceAndTheSystemsTextOnlyOnceAFolderIsSet) {
    recordFailure("before any folder");
    setTraceFolder(pathToUtf8(dir.path()), "ombrixtest");
    EXPECT_EQ(traceFile(), dir.file("ombrix-trace.txt"));
    const int line = __LINE__ + 1;
    recordFailure("a test failure", "C:\\Dati\nriga\tdue\x1b[2J", SystemError{2});
    const std::string text = read("ombrix-trace.txt");
    const std::regex shape(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\tombrixtest\ttrace_file_test\.cpp:)" + std::to_string(line) +
        R"( \S+::TestBody\ta test failure: C:\\Dati\\nriga\\tdue\\x1b\[2J \(error 2: [^()\r\n]+\)\r\n)");
    EXPECT_TRUE(std::regex_match(text, shape)) << text;
    EXPECT_EQ(text.find("before any folder"), std::string::npos) << "nothing kept for later";
}

// Another process rotated the file while this one waited for the lock: not made again.
fs::path racedFile;
void afterAnotherRotation(void (*work)(void*), void* context) noexcept { fs::rename(racedFile, fs::path(racedFile) += ".1"), work(context); }

TEST_F(TraceFile, RotatesAtTheBoundOnceAndNeverOutgrowsIt) {
    setTraceFolder(pathToUtf8(dir.path()), "ombrixtest");
    recordFailure("rotation", "n0");
    setTraceBytesForTests(read("ombrix-trace.txt").size() * 5 / 2);  // two such lines fit, a third does not
    for (int i = 1; i < 10; ++i) recordFailure("rotation", "n" + std::to_string(i));
    EXPECT_EQ(subjects("ombrix-trace.txt.2") + subjects("ombrix-trace.txt.1") + subjects("ombrix-trace.txt"), "n4n5n6n7n8n9");
    EXPECT_FALSE(fs::exists(dir.path() / "ombrix-trace.txt.3"));
    fs::remove(dir.path() / "ombrix-trace.txt.1");  // the other process's rename replaces nothing
    racedFile = dir.path() / "ombrix-trace.txt";
    TraceSystem racing = library;
    racing.oneRotationAtATime = &afterAnotherRotation;
    setTraceSystem(racing);
    recordFailure("rotation", "m0");
    EXPECT_EQ(subjects("ombrix-trace.txt.2") + "|" + subjects("ombrix-trace.txt.1") + "|" + subjects("ombrix-trace.txt"),
              "n4n5|n8n9|m0");
    TraceSystem stuck = library;
    stuck.move = [](const fs::path&, const fs::path&) noexcept { return false; };
    setTraceSystem(stuck);
    for (const char* subject : {"m1", "m2", "m3"}) recordFailure("rotation", subject);
    EXPECT_EQ(subjects("ombrix-trace.txt"), "m0m1") << "a file that cannot be rotated takes no more lines";
}

int sinkCalls = 0;
char sinkWhat[256] = {};  // the last failure the sink heard of
void countingSink(const char*, const char* what) noexcept { ++sinkCalls, std::strncpy(sinkWhat, what, sizeof sinkWhat - 1); }

TEST(Failures, AreKeptNewestLastInABoundedRingAndReachTheSink) {
    setTraceFolder({}, {});  // the sink hears of failures only, never of the trace
    setFailureSink(&countingSink);
    // More than the ring keeps, then one that is no std::exception.
    for (int i = 0; i < 70; ++i) guarded([&] { throw std::runtime_error("boom " + std::to_string(i)); });
    const int line = __LINE__ + 1;
    EXPECT_EQ(guarded([]() -> int { throw 42; }, -1), -1);
    EXPECT_EQ(std::to_string(sinkCalls) + sinkWhat, "71unknown");
    const std::vector<Failure> kept = recentFailures();
    ASSERT_EQ(kept.size(), kFailuresKept);
    EXPECT_EQ(kept.back().where, "trace_file_test.cpp:" + std::to_string(line));
    EXPECT_EQ(kept.front().what + "|" + kept[kept.size() - 2].what + "|" + kept.back().what, "boom 7|boom 69|unknown");
    EXPECT_EQ(guarded([] { return std::string("read"); }) + guarded([]() -> std::string { throw std::bad_alloc(); }), "read");
    // A long message is cut, never inside a character.
    std::string accented;
    for (int i = 0; i < 300; ++i) accented += "\xC3\xA8";  // è
    guarded([&] { throw std::runtime_error(accented); });
    const std::string cut = recentFailures().back().what;
    EXPECT_TRUE(cut.size() > 100 && cut.size() < accented.size() && cut.size() % 2 == 0) << cut.size();
    EXPECT_EQ(accented.compare(0, cut.size(), cut), 0);
    setFailureSink(nullptr);
}

}  // namespace
}  // namespace ombrix::platform
