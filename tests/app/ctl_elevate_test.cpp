// Writes without administrator rights go through the consent prompt; the fake's elevated run is runCtl here.
#include <gtest/gtest.h>

#include <filesystem>

#include "app/ctl_fixture.h"
#include "core/schema.h"

namespace ombrix::app {
namespace {

struct FakeElevator final : Elevator {
    std::optional<std::string> privateFolder(std::string& error) override {
        const auto folder = root / ("relay" + std::to_string(runs));
        if (!(error = folderError).empty() || !std::filesystem::create_directory(folder)) return std::nullopt;
        return pathToUtf8(folder);
    }
    Run run(const std::vector<std::string>& args, bool ownConsole) override {
        ++runs, last = ownConsole ? "console" : "";
        for (const auto& a : args) last += " " + a;
        if (outcome != Run::Outcome::Ended) return {outcome, 1, "Accesso negato."};
        std::istringstream none;
        std::ostringstream ignored;
        CtlEnvironment env{registry, platform::realFileSystem(), system, none, ignored, ignored};
        return {outcome, runCtl(args, env), {}};
    }
    std::filesystem::path root;
    Run::Outcome outcome = Run::Outcome::Refused;
    std::string folderError, last;  // the last run's line, after "console" when it has its own
    int runs = 0;
    platform::FileRegistry registry;
    test::FakeSystem system;
};

struct CtlElevate : CtlFixture {
    CtlElevate() : CtlFixture("") {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        fake.root = dir.path() / "elevations";
        std::filesystem::create_directory(fake.root);
        fake.system.folder = system.folder;
        elevator = &fake;
    }
    FakeElevator fake;
};

TEST_F(CtlElevate, WritesAskForConsentReadsNever) {
    // '-' runs here; 'r' asks and relays; 'i' hands standard input over too; 'c' types in the run's own console.
    const std::pair<std::vector<std::string>, char> cases[] = {
        {{"profiles"}, '-'},           {{"profile", "show", "#1"}, '-'},     {{"password", "check"}, '-'},
        {{"slots", "show"}, '-'},      {{"option", "nopopup"}, '-'},         {{"autostart"}, '-'},
        {{"log", "show"}, '-'},        {{"profile", "add", "N"}, 'r'},       {{"use", "#1"}, 'r'},
        {{"site", "add", "#1", "a.org"}, 'r'}, {{"window", "add", "#1", "-"}, 'i'}, {{"password", "set"}, 'c'},
        {{"slots", "off"}, 'r'},       {{"log", "clear"}, 'r'},              {{"option", "keyboard", "on"}, 'r'},
        {{"autostart", "off"}, 'r'},
    };
    const auto before = readWholeFile(db);
    for (const auto& [line, how] : cases) {
        SCOPED_TRACE(line[0] + " " + (line.size() > 1 ? line[1] : ""));
        const int runs = fake.runs, status = run(line, "Segreta1\n");
        ASSERT_EQ(fake.runs - runs, how == '-' ? 0 : 1);
        if (how == '-') continue;
        EXPECT_EQ(shown(status), "1 0340: The administrator's consent was not given: nothing was changed.\n");
        EXPECT_EQ(std::pair(fake.last.starts_with("console"), fake.last.find(" --input ") != std::string::npos),
                  std::pair(how == 'c', how == 'i')) << fake.last;
    }
    EXPECT_EQ(readWholeFile(db), before) << "a declined consent changes nothing";
    EXPECT_TRUE(std::filesystem::is_empty(fake.root));
    fake.runs = 0;
    EXPECT_EQ(ctl({"init", dir.file("nuovo.db")}), kOk) << "a new file of the caller's own";
    EXPECT_EQ(ctl({"--elevated", "--db", db, "profile", "add", "Senza"}), kOk) << "came through the prompt";
    EXPECT_EQ((system.isElevated = true, run({"profile", "add", "Elevato"})), kOk);
    EXPECT_EQ((system.env["OMBRIX_AS_STANDARD_USER"] = "1", run({"profile", "add", "Standard"})), kRefused) << "it only adds a prompt";
    elevator = nullptr;
    EXPECT_EQ(run({"profile", "add", "Diretto"}), kOk) << "no elevator: run here, let the system refuse";
    EXPECT_EQ(fake.runs, 1) << "only the standard user's";
}

TEST_F(CtlElevate, TheElevatedRunsOutputAndStatusComeBackOrWhyItDidNotRun) {
    fake.outcome = Elevator::Run::Outcome::Ended, fake.system.env["OMBRIX_AS_STANDARD_USER"] = "1";  // it never asks again
    EXPECT_EQ(said({"site", "add", "#1", "-"}, "a.org\nb.org\na.org\n"), "0 added 2, duplicates skipped 1\n");
    EXPECT_TRUE(begins({"profile", "add", "nessuna restrizione"}, "1 0021: ")) << err.str();
    EXPECT_TRUE(std::filesystem::is_empty(fake.root)) << "the relay's folders are removed";
    system.env["NUOVA"] = "Segreta1";
    EXPECT_TRUE(begins({"password", "set", "--from-environment", "NUOVA"}, "1 0342: ")) << err.str();
    fake.outcome = Elevator::Run::Outcome::Failed;
    for (const char* why : {"Accesso negato.", "Disco pieno."}) {
        fake.folderError = why == std::string("Disco pieno.") ? why : "";
        EXPECT_EQ(said({"use", "#1"}), "1 0341: The command could not be run with administrator rights: " + std::string(why) + "\n");
    }
    EXPECT_EQ(fake.runs, 3);
}

}  // namespace
}  // namespace ombrix::app
