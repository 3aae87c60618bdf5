// Writing a log row lets pending events run, so the site timer and the log
// timer can tick inside each other. A page must still be written once: each
// timer remembers an address as seen before it writes it.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "fakes/fake_enforcement.h"

namespace ombrix::enforce {
namespace {

class LogReentry : public ::testing::Test {
protected:
    LogReentry() {
        rig.addProfile(2, true, {".vietato.example", "*gioco"});
        rig.host.log = true;
        rig.use(2);
        rig.browsers.open(rig.browsers.chrome, "http://scuola.example/compiti");
    }
    // The other timer ticks once, at the first event pump after `entry` is in
    // the journal: inside the write of a row rather than at the start of a tick.
    void tickInsideAfter(const std::string& entry, std::function<void()> other) {
        rig.pump.during = [this, entry, other] {
            if (done_ || rig.journal.find(entry) < 0) return;
            done_ = true;
            other();
        };
    }
    std::vector<std::string> logged() {
        auto urls = rig.loggedUrls();
        std::sort(urls.begin(), urls.end());
        return urls;
    }

    test::EnforcementRig rig;
    bool done_ = false;
};

TEST_F(LogReentry, TheLogTimerInsideTheSiteTimer) {
    tickInsideAfter("read chrome.exe", [this] { rig.enforcement->tickSiteLog(); });
    rig.enforcement->tickSiteCheck();
    ASSERT_TRUE(done_) << "the log timer never ticked inside the site timer";
    rig.enforcement->tickSiteCheck();
    EXPECT_EQ(logged(), (std::vector<std::string>{"http://scuola.example/compiti"}));
}

TEST_F(LogReentry, TheSiteTimerInsideTheLogTimer) {
    rig.browsers.open(rig.browsers.edge, "http://scuola.example/edge");
    tickInsideAfter("read msedge.exe", [this] { rig.enforcement->tickSiteCheck(); });
    rig.enforcement->tickSiteLog();
    ASSERT_TRUE(done_) << "the site timer never ticked inside the log timer";
    rig.enforcement->tickSiteLog();
    EXPECT_EQ(logged(), (std::vector<std::string>{"http://scuola.example/compiti", "http://scuola.example/edge"}));
}

}  // namespace
}  // namespace ombrix::enforce
