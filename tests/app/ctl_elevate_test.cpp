// Writes from a process without administrator rights go through the consent
// prompt: which lines ask, and what comes back from the elevated run. The
// fake elevator's "elevated run" is runCtl itself, in this process.
#include <gtest/gtest.h>

#include <filesystem>

#include "app/ctl_fixture.h"
#include "core/schema.h"

namespace ombrix::app {
namespace {

class FakeElevator final : public Elevator {
public:
    explicit FakeElevator(std::filesystem::path root) : root_(std::move(root)) {}
    std::optional<std::string> privateFolder(std::string& error) override {
        if (!folderError.empty()) {
            error = folderError;
            return std::nullopt;
        }
        const auto folder = root_ / ("relay" + std::to_string(++folders_));
        std::filesystem::create_directory(folder);
        return pathToUtf8(folder);
    }
    Run run(const std::vector<std::string>& args, bool ownConsole) override {
        runs.push_back(args);
        consoles.push_back(ownConsole);
        if (outcome != Run::Outcome::Ended) return {outcome, 1, "Accesso negato."};
        std::istringstream noInput;
        std::ostringstream childOut, childErr;
        CtlEnvironment env{registry, platform::realFileSystem(), system, noInput, childOut, childErr};
        return {outcome, runCtl(args, env), {}};
    }

    Run::Outcome outcome = Run::Outcome::Refused;
    std::string folderError;
    std::vector<std::vector<std::string>> runs;
    std::vector<bool> consoles;
    platform::FileRegistry registry;
    test::FakeSystem system;

private:
    std::filesystem::path root_;
    int folders_ = 0;
};

class CtlElevate : public CtlFixture {
protected:
    CtlElevate() : CtlFixture("") {
        EXPECT_TRUE(core::createDeliveredDatabase(db));
        elevator = &fake;
        fake.system.folder = system.folder;
    }
    // Relay folders left behind.
    [[nodiscard]] std::size_t leftovers() const {
        std::size_t n = 0;
        for (const auto& e : std::filesystem::directory_iterator(dir.path() / "elevations")) n += e.exists();
        return n;
    }
    FakeElevator fake{(std::filesystem::create_directory(dir.path() / "elevations"), dir.path() / "elevations")};
};

TEST_F(CtlElevate, WritesAskForConsentReadsNever) {
    test::writeFile(dir.file("p.ox"), "[Profilo]\r\nNome=Importato\r\n");
    const struct {
        std::vector<std::string> line;
        bool asks;
    } cases[] = {
        {{"profiles"}, false},
        {{"profile", "show", "1"}, false},
        {{"check", "1", "a.org"}, false},
        {{"log", "show"}, false},
        {{"password", "check"}, false},
        {{"slots", "show"}, false},
        {{"export", "1", dir.file("out.ox")}, false},
        {{"restore"}, false},
        {{"profile", "frobnicate"}, false},
        {{"upgrade"}, true},
        {{"profile", "add", "Nuovo"}, true},
        {{"profile", "rename", "1", "Altro"}, true},
        {{"profile", "copy", "1", "Copia"}, true},
        {{"profile", "delete", "1"}, true},
        {{"profile", "set", "1", "mode", "kiosk"}, true},
        {{"use", "1"}, true},
        {{"site", "add", "1", "a.org"}, true},
        {{"process", "remove", "1", "x.exe"}, true},
        {{"window", "add", "1", "-"}, true},
        {{"password", "set"}, true},
        {{"slots", "set", "1", "08:00", "09:00", "1"}, true},
        {{"slots", "clear", "1"}, true},
        {{"slots", "fallback", "1"}, true},
        {{"slots", "on"}, true},
        {{"slots", "off"}, true},
        {{"import", dir.file("p.ox")}, true},
        {{"log", "clear"}, true},
    };
    const auto before = readWholeFile(db);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line[0] + " " + (c.line.size() > 1 ? c.line[1] : ""));
        fake.runs.clear();
        const int status = run(c.line);
        EXPECT_EQ(fake.runs.size(), c.asks ? 1u : 0u);
        if (c.asks) {
            EXPECT_EQ(status, kRefused);
            EXPECT_EQ(err.str(), "0340: The administrator's consent was not given: nothing was changed.\n");
            EXPECT_EQ(out.str(), "");
        }
    }
    EXPECT_EQ(readWholeFile(db), before) << "a declined consent changes nothing";
    EXPECT_EQ(leftovers(), 0u);

    fake.runs.clear();
    EXPECT_EQ(ctl({"init", dir.file("nuovo.db")}), kOk) << "a new file of the caller's own";
    EXPECT_EQ(ctl({"--help"}), kOk);
    EXPECT_EQ(ctl({"--elevated", "--db", db, "profile", "add", "Senza"}), kOk) << "came through the prompt";
    system.isElevated = true;
    EXPECT_EQ(run({"profile", "add", "Elevato"}), kOk);
    system.env["OMBRIX_AS_STANDARD_USER"] = "1";
    EXPECT_EQ(run({"profile", "add", "Standard"}), kRefused) << "the variable only adds a prompt";
    EXPECT_EQ(fake.runs.size(), 1u);
    elevator = nullptr;
    EXPECT_EQ(run({"profile", "add", "Diretto"}), kOk) << "no elevator: run here, let the system refuse";
    EXPECT_EQ(fake.runs.size(), 1u);
}

TEST_F(CtlElevate, TheElevatedRunsOutputAndStatusComeBack) {
    fake.outcome = Elevator::Run::Outcome::Ended;
    EXPECT_EQ(run({"profile", "add", "Nuovo"}), kOk) << err.str();
    EXPECT_EQ(out.str(), "2\tNuovo\n");
    ASSERT_EQ(fake.runs.size(), 1u);
    const auto& line = fake.runs[0];
    ASSERT_GE(line.size(), 3u);
    EXPECT_EQ(line[0], "--elevated");
    EXPECT_EQ(line[1], "--relay");
    EXPECT_FALSE(fake.consoles[0]);

    EXPECT_EQ(run({"profile", "add", "nuovo"}), kRefused);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(err.str().rfind("0021: ", 0), 0u) << err.str();

    EXPECT_EQ(run({"site", "add", "Nuovo", "-"}, "a.org\nb.org\na.org\n"), kOk) << err.str();
    EXPECT_EQ(out.str(), "added 2, duplicates skipped 1\n");
    EXPECT_EQ(run({"site", "add", "Nuovo"}), kUsage) << "a usage error comes back with its status";
    EXPECT_NE(err.str().find("usage: ombrixctl"), std::string::npos);
    EXPECT_EQ(leftovers(), 0u);

    fake.system.isElevated = true;  // the child never asks again, whatever it sees
    fake.system.env["OMBRIX_AS_STANDARD_USER"] = "1";
    EXPECT_EQ(run({"upgrade"}), kOk);
    EXPECT_EQ(fake.runs.size(), 5u);
    elevator = nullptr;
    EXPECT_EQ(run({"profile", "show", "Nuovo"}), kOk);
    EXPECT_NE(out.str().find("a.org"), std::string::npos) << out.str();
}

// A password travels in no file and on no command line.
TEST_F(CtlElevate, APasswordIsTypedInTheElevatedRunsOwnConsole) {
    EXPECT_EQ(run({"password", "set"}, "Segreta1\n"), kRefused);
    ASSERT_EQ(fake.runs.size(), 1u);
    EXPECT_TRUE(fake.consoles[0]);
    for (const auto& a : fake.runs[0]) EXPECT_NE(a, "--input");

    system.env["NUOVA"] = "Segreta1";
    EXPECT_EQ(run({"password", "set", "--from-environment", "NUOVA"}), kRefused);
    EXPECT_EQ(fake.runs.size(), 1u);
    EXPECT_EQ(err.str().rfind("0342: ", 0), 0u) << err.str();
}

TEST_F(CtlElevate, AFailureToStartSaysWhy) {
    fake.outcome = Elevator::Run::Outcome::Failed;
    EXPECT_EQ(run({"use", "1"}), kRefused);
    EXPECT_EQ(err.str(), "0341: The command could not be run with administrator rights: Accesso negato.\n");
    fake.folderError = "Disco pieno.";
    EXPECT_EQ(run({"use", "1"}), kRefused);
    EXPECT_EQ(err.str(), "0341: The command could not be run with administrator rights: Disco pieno.\n");
    EXPECT_EQ(fake.runs.size(), 1u);
}

}  // namespace
}  // namespace ombrix::app
