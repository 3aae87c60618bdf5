// The administrator's changes from a process without administrator rights:
// the same command line runs again through the consent prompt, and what it
// printed and its exit status come back here. An elevated process cannot
// write to its caller's console or pipes, so its standard output and error
// (and, for a list read from standard input, that input) travel as files in
// a folder only the caller and administrators can open.
#include <filesystem>
#include <iterator>
#include <sstream>
#include <system_error>

#include "app/ctl_session.h"
#include "platform/files.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

constexpr const char* kOutputFile = "output.txt";
constexpr const char* kErrorsFile = "errors.txt";
constexpr const char* kInputFile = "input.txt";

std::string inFolder(const std::string& folder, const char* name) {
    return pathToUtf8(pathFromUtf8(folder) / name);
}

// Removes the relay's folder and whatever is left in it.
class FolderGuard {
public:
    explicit FolderGuard(std::string folder) : folder_(std::move(folder)) {}
    ~FolderGuard() {
        std::error_code ignored;
        std::filesystem::remove_all(pathFromUtf8(folder_), ignored);
    }
    FolderGuard(const FolderGuard&) = delete;
    FolderGuard& operator=(const FolderGuard&) = delete;

private:
    std::string folder_;
};

}  // namespace

int runWithConsent(Session& s, const std::vector<std::string>& args, Elevation how) {
    CtlEnvironment& env = s.env();
    // Neither a file nor a command line may carry a password.
    if (how == Elevation::Impossible) return s.refuse(msg::PasswordFromEnvironmentNotElevated);
    std::string error;
    const std::optional<std::string> folder = env.elevator->privateFolder(error);
    if (!folder) return s.refuse(msg::ElevatedRunFailed, error);
    const FolderGuard cleanup(*folder);

    std::vector<std::string> child = {"--elevated", "--relay", *folder};
    // An elevated run starts in the system's folder: relative paths (--db,
    // import FILE) must mean what they mean here.
    std::error_code ec;
    const std::filesystem::path here = std::filesystem::current_path(ec);
    if (!ec) child.insert(child.end(), {"--directory", pathToUtf8(here)});
    if (how == Elevation::RelayInput) {
        const std::string input{std::istreambuf_iterator<char>(env.in), std::istreambuf_iterator<char>()};
        const std::string file = inFolder(*folder, kInputFile);
        if (env.in.bad() || !writeWholeFile(file, input)) {
            return s.refuse(msg::ElevatedRunFailed, "standard input could not be handed over");
        }
        child.insert(child.end(), {"--input", file});
    }
    child.insert(child.end(), args.begin(), args.end());

    const Elevator::Run run = env.elevator->run(child, how == Elevation::OwnConsole);
    if (run.outcome == Elevator::Run::Outcome::Refused) return s.refuse(msg::ConsentNotGiven);
    if (run.outcome == Elevator::Run::Outcome::Failed) return s.refuse(msg::ElevatedRunFailed, run.error);
    const std::optional<std::string> output = readWholeFile(inFolder(*folder, kOutputFile));
    const std::optional<std::string> errors = readWholeFile(inFolder(*folder, kErrorsFile));
    if (output) env.out << *output;
    if (errors) env.err << *errors;
    if (!output || !errors) {
        // It ran, but what it said is lost: a script must not take that for success.
        env.err << "ombrixctl: the command run as administrator left no report of what it did\n";
        return run.exitCode == kOk ? kRefused : run.exitCode;
    }
    return run.exitCode;
}

int runElevatedChild(const std::vector<std::string>& args, CtlEnvironment& env) {
    std::optional<std::string> relay, input, directory;
    std::size_t i = 1;
    for (; i + 1 < args.size(); i += 2) {
        std::optional<std::string>* option = args[i] == "--relay"       ? &relay
                                             : args[i] == "--input"     ? &input
                                             : args[i] == "--directory" ? &directory
                                                                        : nullptr;
        if (!option) break;
        *option = args[i + 1];
    }
    const std::vector<std::string> rest(args.begin() + static_cast<std::ptrdiff_t>(i), args.end());

    std::ostringstream out, err;
    std::istringstream relayedInput;
    CtlEnvironment relayed{env.registry, env.files, env.system,
                           input ? static_cast<std::istream&>(relayedInput) : env.in,
                           relay ? static_cast<std::ostream&>(out) : env.out,
                           relay ? static_cast<std::ostream&>(err) : env.err,
                           input ? nullptr : env.terminal,
                           env.printers,
                           env.desktop,
                           nullptr,
                           // Typed input is asked for in this run's own console.
                           &env.err};
    relayed.guard = env.guard;
    int status = kRefused;
    std::error_code ec;
    if (directory) std::filesystem::current_path(pathFromUtf8(*directory), ec);
    std::optional<std::string> given = input ? readWholeFile(*input) : std::optional<std::string>(std::string());
    if (ec) {
        relayed.err << "ombrixctl: cannot work in the folder " << printable(*directory) << ": " << ec.message()
                    << "\n";
    } else if (!given) {
        relayed.err << "ombrixctl: the standard input handed over cannot be read\n";
    } else {
        relayedInput.str(std::move(*given));
        status = dispatchCtl(rest, relayed, true);
    }
    if (!relay) return status;
    const bool reported = writeWholeFile(inFolder(*relay, kOutputFile), out.str()) &&
                          writeWholeFile(inFolder(*relay, kErrorsFile), err.str());
    return reported || status != kOk ? status : kRefused;
}

}  // namespace ombrix::app
