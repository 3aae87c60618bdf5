// ombrixctl's block output: whole lines, few writes, and a lost write seen.
#include <gtest/gtest.h>

#include <ostream>

#include "app/ctl_streams.h"

namespace ombrix::app {
namespace {

// Keeps each write apart; takes at most `room` bytes in all.
class Writes final : public std::streambuf {
public:
    std::vector<std::string> writes;
    std::size_t room = std::string::npos;

protected:
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        const auto taken = std::min<std::size_t>(static_cast<std::size_t>(n), room);
        room -= taken;
        writes.emplace_back(s, taken);
        return static_cast<std::streamsize>(taken);
    }
};

TEST(BlockOutput, WritesWholeLinesInBlocksAndTheRestOnAFlushAndATargetThatTakesLessFailsTheStream) {
    Writes target;
    BlockOutput block(target, 8);
    std::ostream out(&block);
    out << "ab\ncd\nefg";
    EXPECT_EQ(target.writes, std::vector<std::string>{"ab\ncd\n"});
    out << "hijklmnopq";  // no line end within a block: it goes out as it comes
    EXPECT_EQ(target.writes, (std::vector<std::string>{"ab\ncd\n", "efghijkl"}));
    out << "\n" << std::flush;
    EXPECT_EQ(target.writes, (std::vector<std::string>{"ab\ncd\n", "efghijkl", "mnopq\n"}));
    EXPECT_TRUE(out);
    target.room = 3;
    out << "ab\ncd\n";
    EXPECT_TRUE(out);
    out.flush();
    EXPECT_FALSE(out);
}

}  // namespace
}  // namespace ombrix::app
