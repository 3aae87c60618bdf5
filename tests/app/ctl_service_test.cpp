#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/controller.h"
#include "core/guard_service.h"
#include "core/settings_reg.h"

namespace ombrix::app {
namespace {

// The service as the control manager and its channel would answer; a
// non-empty `failure` fails start, stop and ask with it.
struct FakeGuard final : GuardControl {
    std::optional<State> now = State::Running;
    std::string failure, reply = "ok";
    std::vector<std::string> calls;
    std::optional<State> state(std::string& error) override {
        error = "access denied";
        return now;
    }
    bool start(std::string& error) override { return act("start", error); }
    bool stop(std::string& error) override { return act("stop", error); }
    std::optional<std::string> ask(const std::string& request, std::string& error) override {
        if (!act(request.c_str(), error)) return std::nullopt;
        return request == "status" ? "session 1 running\n" : reply;
    }
    bool act(const char* what, std::string& error) {
        calls.push_back(what);
        error = failure;
        return failure.empty();
    }
};

class CtlService : public CtlFixture {
protected:
    CtlService() : CtlFixture("0441=Il servizio di guardia non ha potuto:\r\n0440=Il servizio avvia Ombrix.\r\n") {
        guard = &fake;
    }
    FakeGuard fake;
};

TEST_F(CtlService, StatusStartStopAndStandDown) {
    using State = GuardControl::State;
    struct Case {
        const char* name;
        std::vector<std::string> args;
        std::optional<State> state;
        std::string failure, reply;
        int status;
        std::string out, errStart;
        std::vector<std::string> calls;
    };
    const std::vector<Case> cases = {
        {"status of a running service names its sessions", {"status"}, State::Running, "", "", kOk,
         "service running\nsession 1 running\n", "", {"status"}},
        {"status without the channel still says it runs", {"status"}, State::Running, "access denied", "", kOk,
         "service running\nsessions: unknown (access denied)\n", "", {"status"}},
        {"status of a stopped service", {"status"}, State::Stopped, "", "", kOk, "service stopped\n", "", {}},
        {"status where there is none", {"status"}, State::NotInstalled, "", "", kOk, "service not installed\n", "", {}},
        {"status the manager refuses", {"status"}, std::nullopt, "", "", kRefused, "", "0441:", {}},
        {"stop", {"stop"}, State::Running, "", "", kOk, "", "", {"stop"}},
        {"start refused", {"start"}, State::Stopped, "access denied", "", kRefused, "", "0441:", {"start"}},
        {"stop where there is none", {"stop"}, State::NotInstalled, "", "", kRefused, "", "0441:", {}},
        {"stand-down agreed", {"stand-down"}, State::Running, "", "ok", kOk, "", "", {"stand-down"}},
        {"stand-down refused by the service", {"stand-down"}, State::Running, "", "refused: session 4 is not guarded",
         kRefused, "", "0441:", {"stand-down"}},
        {"stand-down on a channel not ours", {"stand-down"}, State::Running, "not served by the guard", "", kRefused, "",
         "0441:", {"stand-down"}},
        {"stand-down of a stopped guard: nothing to do", {"stand-down"}, State::Stopped, "", "", kOk, "", "", {}},
        {"an unknown word", {"pause"}, State::Running, "", "", kUsage, "", "ombrixctl:", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fake = FakeGuard{};
        fake.now = c.state;
        fake.failure = c.failure;
        fake.reply = c.reply;
        std::vector<std::string> args = {"service"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        EXPECT_EQ(ctl(args), c.status) << err.str();
        EXPECT_EQ(out.str(), c.out);
        EXPECT_EQ(err.str().substr(0, c.errStart.size()), c.errStart) << err.str();
        EXPECT_EQ(fake.calls, c.calls);
    }
}

// Where the service starts the program, the Run entry is not the option.
TEST_F(CtlService, AutostartSaysTheServiceStartsOmbrix) {
    test::writeFile(dir.file("ombrix.exe"), "MZ");
    registry.writeString(platform::RegRoot::LocalMachine, core::kGuardServiceKey, "ImagePath", "ombrixguard.exe");
    ASSERT_EQ(ctl({"autostart"}), kOk);
    EXPECT_EQ(out.str(), "autostart service\n");
    for (const char* word : {"on", "off"}) {
        EXPECT_EQ(ctl({"autostart", word}), kRefused) << word;
        EXPECT_EQ(err.str(), "0440: Il servizio avvia Ombrix.\n");
    }
    EXPECT_FALSE(registry.readValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle));
}

}  // namespace
}  // namespace ombrix::app
