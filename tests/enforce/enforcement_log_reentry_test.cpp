// Writing a log row lets pending events run, so the site timer and the log
// timer can tick inside each other. A page must still be written once.
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
        rig.host.profile = 2;
        rig.host.log = true;
        rig.use(2);
    }
    // While events run, the other timer ticks once (not inside itself again).
    void tickInside(std::function<void()> other) {
        rig.pump.during = [this, other] {
            if (inside_) return;
            inside_ = true;
            other();
            inside_ = false;
        };
    }

    test::EnforcementRig rig;
    bool inside_ = false;
};

TEST_F(LogReentry, TheLogTimerInsideTheSiteTimer) {
    rig.browsers.open(rig.browsers.chrome, "http://scuola.example/compiti");
    tickInside([this] { rig.enforcement->tickLogSitiVisitati(); });
    rig.enforcement->tickSitiVietatiConsentiti();
    rig.enforcement->tickSitiVietatiConsentiti();
    EXPECT_EQ(rig.loggedUrls(), (std::vector<std::string>{"http://scuola.example/compiti"}));
}

TEST_F(LogReentry, TheSiteTimerInsideTheLogTimer) {
    rig.browsers.open(rig.browsers.chrome, "http://scuola.example/compiti");
    rig.browsers.open(rig.browsers.edge, "http://scuola.example/edge");
    tickInside([this] { rig.enforcement->tickSitiVietatiConsentiti(); });
    rig.enforcement->tickLogSitiVisitati();
    rig.enforcement->tickLogSitiVisitati();
    auto logged = rig.loggedUrls();
    std::sort(logged.begin(), logged.end());
    EXPECT_EQ(logged, (std::vector<std::string>{"http://scuola.example/compiti", "http://scuola.example/edge"}));
}

}  // namespace
}  // namespace ombrix::enforce
