#include "platform/trace_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

#include "fakes/fixtures.h"
#include "platform/failures.h"
#include "platform/files.h"

namespace ombrix::platform {
namespace {

namespace fs = std::filesystem;

// Each test starts and ends with no trace folder, the program's bound and
// the standard library's calls.
class TraceFile : public ::testing::Test {
protected:
    TraceFile() { setTraceFolder({}, {}); }
    ~TraceFile() override {
        setTraceFolder({}, {});
        setTraceBytesForTests(kTraceBytes);
        setTraceSystem(library);
    }
    [[nodiscard]] std::string read(std::string_view name) const {
        return readWholeFile(dir.file(name)).value_or("(missing)");
    }
    // The subjects of the "rotation" lines in a file, e.g. "n4n5".
    [[nodiscard]] std::string subjects(std::string_view name) const {
        const std::string text = read(name);
        std::string found;
        for (std::size_t at = text.find("rotation: "); at != std::string::npos; at = text.find("rotation: ", at + 1)) {
            found += text.substr(at + 10, 2);
        }
        return found;
    }
    // After the first line "rotation: n0": two such lines fit, a third does not.
    void boundAtTwoLines() { setTraceBytesForTests(read("ombrix-trace.txt").size() * 5 / 2); }
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
    EXPECT_EQ(recentFailures().back().what.rfind("a test failure: C:\\Dati\nriga\tdue\x1b[2J (error 2: ", 0), 0u)
        << "the ring keeps the text as it was";
}

// Another process rotated the file while this one waited for the lock.
fs::path racedFile;
void afterAnotherRotation(void (*work)(void*), void* context) noexcept {
    fs::rename(racedFile, fs::path(racedFile) += ".1");
    work(context);
}

// Three generations are kept; a rotation another process made first is not
// made again, and a file that cannot be rotated takes no more lines.
TEST_F(TraceFile, RotatesAtTheBoundOnceAndNeverOutgrowsIt) {
    setTraceFolder(pathToUtf8(dir.path()), "ombrixtest");
    recordFailure("rotation", "n0");
    boundAtTwoLines();
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

TEST_F(TraceFile, AFolderThatCannotBeWrittenStopsNothing) {
    test::writeFile(dir.file("a file"), "not a folder");
    for (const std::string& folder : {dir.file("a file"), dir.file("missing")}) {
        setTraceFolder(folder, "ombrixtest");
        recordFailure("dropped");
        EXPECT_EQ(recentFailures().back().what, "dropped") << "the ring has it";
    }
    EXPECT_FALSE(fs::exists(dir.path() / "missing")) << "the folder is not made";
    EXPECT_EQ(read("a file"), "not a folder");
}

}  // namespace
}  // namespace ombrix::platform
