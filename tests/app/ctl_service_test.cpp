// ombrixctl service, option and autostart: the machine's switches.
#include <gtest/gtest.h>

#include "app/ctl_fixture.h"
#include "core/controller.h"
#include "core/guard_service.h"
#include "core/schema.h"
#include "core/settings_reg.h"

namespace ombrix::app {
namespace {

using State = GuardControl::State;

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
    CtlService() { guard = &fake; }
    std::optional<std::string> runEntry() {
        return registry.readValue(platform::RegRoot::LocalMachine, core::kRunKey, core::kProgramTitle);
    }
    FakeGuard fake;
};

TEST_F(CtlService, StatusStartStopAndStandDown) {
    const struct {
        std::string word;
        std::optional<State> state;
        std::string failure, reply;
        int status;
        std::string out, errStart;
        std::vector<std::string> calls;
    } cases[] = {
        {"status", State::Running, "", "", kOk, "service running\nsession 1 running\n", "", {"status"}},
        // Without the channel it still says the service runs.
        {"status", State::Running, "access denied", "", kOk, "service running\nsessions: unknown (access denied)\n",
         "", {"status"}},
        {"status", State::Stopped, "", "", kOk, "service stopped\n", "", {}},
        {"status", State::NotInstalled, "", "", kOk, "service not installed\n", "", {}},
        {"status", std::nullopt, "", "", kRefused, "", "0441:", {}},
        {"stop", State::Running, "", "", kOk, "", "", {"stop"}},
        {"start", State::Stopped, "access denied", "", kRefused, "", "0441:", {"start"}},
        {"stop", State::NotInstalled, "", "", kRefused, "", "0441:", {}},
        {"stand-down", State::Running, "", "ok", kOk, "", "", {"stand-down"}},
        {"stand-down", State::Running, "", "refused: session 4 is not guarded", kRefused, "", "0441:", {"stand-down"}},
        {"stand-down", State::Running, "not served by the guard", "", kRefused, "", "0441:", {"stand-down"}},
        {"stand-down", State::Stopped, "", "", kOk, "", "", {}},  // nothing to do
        {"pause", State::Running, "", "", kUsage, "", "ombrixctl:", {}},
    };
    for (const auto& c : cases) {
        fake = FakeGuard{};
        fake.now = c.state;
        fake.failure = c.failure;
        fake.reply = c.reply;
        EXPECT_EQ(ctl({"service", c.word}), c.status) << c.word << ": " << err.str();
        EXPECT_EQ(out.str(), c.out) << c.word;
        EXPECT_EQ(err.str().substr(0, c.errStart.size()), c.errStart) << err.str();
        EXPECT_EQ(fake.calls, c.calls) << c.word;
    }
}

TEST_F(CtlService, OptionsShowAndSetAndAStoreWithoutTheColumnIsSaid) {
    ASSERT_TRUE(core::createDeliveredDatabase(db));
    ASSERT_EQ(run({"option"}), kOk);
    EXPECT_EQ(out.str(), "keyboard off\nnopopup off\nnoprint off\n");
    EXPECT_EQ(run({"option", "keyboard", "on"}), kOk);
    EXPECT_EQ(run({"option", "noprint", "on"}), kOk);
    EXPECT_EQ(run({"option", "noprint", "off"}), kOk);
    ASSERT_EQ(run({"option"}), kOk);
    EXPECT_EQ(out.str(), "keyboard on\nnopopup off\nnoprint off\n");
    for (const std::vector<std::string>& wrong :
         {std::vector<std::string>{"option", "colour", "on"}, {"option", "keyboard", "si"}, {"option", "a", "b", "c"}}) {
        refused(wrong, "ombrixctl:", {}, kUsage);
    }
    // A store of an older structure has no such column: said, and nothing written.
    sql(db, "ALTER TABLE Opzioni DROP COLUMN NoPopup;");
    refused({"option", "nopopup", "on"}, "0310:");
    EXPECT_EQ(run({"option"}), kRefused);
    EXPECT_EQ(out.str(), "keyboard on\n");
    EXPECT_EQ(err.str().substr(0, 5), "0313:");
}

// The Run entry names the program beside ombrixctl, only when it is there;
// where the service starts the program, the Run entry is not the option.
TEST_F(CtlService, AutostartIsTheRunEntryUnlessTheServiceStartsOmbrix) {
    const std::string program = dir.file("ombrix.exe");
    EXPECT_EQ(ctl({"autostart", "on"}), kRefused);
    EXPECT_FALSE(runEntry()) << "no program, no entry";
    test::writeFile(program, "MZ");
    ASSERT_EQ(ctl({"autostart", "on"}), kOk);
    EXPECT_EQ(runEntry(), program);
    ASSERT_EQ(ctl({"autostart"}), kOk);
    EXPECT_EQ(out.str(), "autostart on\n");
    ASSERT_EQ(ctl({"autostart", "off"}), kOk);
    EXPECT_FALSE(runEntry());
    EXPECT_EQ(ctl({"autostart", "off"}), kOk) << "none is none";
    ASSERT_EQ(ctl({"autostart"}), kOk);
    EXPECT_EQ(out.str(), "autostart off\n");
    EXPECT_EQ(ctl({"autostart", "yes"}), kUsage);

    registry.writeString(platform::RegRoot::LocalMachine, core::kGuardServiceKey, "ImagePath", "ombrixguard.exe");
    ASSERT_EQ(ctl({"autostart"}), kOk);
    EXPECT_EQ(out.str(), "autostart service\n");
    EXPECT_EQ(ctl({"autostart", "on"}), kRefused);
    EXPECT_EQ(err.str().rfind("0440: ", 0), 0u) << err.str();
    EXPECT_FALSE(runEntry());
}

}  // namespace
}  // namespace ombrix::app
