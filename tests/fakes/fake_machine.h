#pragma once
// Fakes of the machine for the native tests: a scripted file system, system
// facts, dialogs, folder access lists and the event log that record what they
// get, a store's environment made of them, typed input, and what applying a
// profile reaches (printers, the desktop lock, the shell, a durable writer).

#include <set>
#include <tuple>

#include "core/desktop_lock.h"
#include "core/store_location.h"
#include "fakes/fake_controller.h"
#include "platform/dialogs.h"
#include "platform/durable.h"
#include "platform/event_log.h"
#include "platform/file_registry.h"
#include "platform/files.h"
#include "platform/filesystem.h"
#include "platform/folder_access.h"
#include "platform/printers.h"
#include "platform/shell.h"
#include "platform/standard_input.h"
#include "platform/system.h"
#include "support/language.h"

namespace ombrix::test {

class FakeFileSystem final : public platform::FileSystem {
public:
    std::map<std::string, std::string> files;  // path -> contents
    std::set<std::string> directories;
    std::set<std::string> readOnlyDirectories;  // files cannot be made or removed inside
    // A size the file reports instead of its contents' (a file too large to hold here).
    std::map<std::string, std::uintmax_t> sizes;
    int calls = 0, copies = 0;  // calls of any kind
    std::uintmax_t bytesRead = 0;

    bool fileExists(std::string_view path) override { return files.contains(call(path)); }
    bool createDirectory(std::string_view path) override {
        if (blocked(path)) return directories.contains(call(path));
        directories.insert(call(path));
        return true;
    }
    bool copyFile(std::string_view from, std::string_view to) override {
        const auto it = files.find(call(from));
        if (it == files.end() || blocked(to)) return false;
        ++copies;
        bytesRead += sizeOf(it->first);
        files[std::string(to)] = it->second;
        return true;
    }
    bool removeFile(std::string_view path) override { return !blocked(call(path)) && files.erase(std::string(path)); }
    bool moveFile(std::string_view from, std::string_view to) override {
        if (!files.contains(call(from)) || blocked(from) || blocked(to)) return false;
        files[std::string(to)] = std::move(files.extract(std::string(from)).mapped());
        if (auto size = sizes.extract(std::string(from))) sizes[std::string(to)] = size.mapped();
        return true;
    }
    platform::BoundedRead readFile(std::string_view path, std::size_t limit) override {
        const auto it = files.find(call(path));
        if (it == files.end()) return {};
        const bool tooLarge = sizeOf(it->first) > limit;
        bytesRead += tooLarge ? limit + 1 : it->second.size();
        if (tooLarge) return {platform::BoundedRead::Outcome::TooLarge, {}};
        return {platform::BoundedRead::Outcome::Read, it->second};
    }

private:
    // Counts the call; returns the path as a key.
    std::string call(std::string_view path) {
        ++calls;
        return std::string(path);
    }
    std::uintmax_t sizeOf(const std::string& path) const {
        return sizes.contains(path) ? sizes.at(path) : files.at(path).size();
    }
    bool blocked(std::string_view path) const {
        return std::any_of(readOnlyDirectories.begin(), readOnlyDirectories.end(),
                           [&](const std::string& dir) { return path.starts_with(dir); });
    }
};

struct FakeSystem final : platform::System {
    int major = 10, minor = 0;
    std::map<std::string, std::string> env{{"HOMEDRIVE", "C:"}};
    std::string folder = "C:\\Programmi\\Ombrix", fileName = "ombrix.exe";
    bool isElevated = false;
    std::uint16_t displayLanguage = 0x0410;

    int windowsMajorVersion() override { return major; }
    int windowsMinorVersion() override { return minor; }
    std::string environment(std::string_view name) override {
        const auto it = env.find(std::string(name));
        return it == env.end() ? std::string() : it->second;
    }
    std::string programFolder() override { return folder; }
    std::string programFileName() override { return fileName; }
    bool elevated() override { return isElevated; }
    std::uint16_t userInterfaceLanguage() override { return displayLanguage; }
};

struct RecordingDialogs final : platform::Dialogs {
    std::vector<platform::MessageBoxRequest> shown;
    std::vector<std::string> prompts;
    std::optional<std::string> folderAnswer;
    // The answer to Yes/No questions; unset, they get Ok, which is no Yes.
    std::optional<platform::MessageAnswer> answer;
    // Runs while a box is open, as its modal loop would.
    std::function<void(const platform::MessageBoxRequest&)> whileShown;

    platform::MessageAnswer messageBox(const platform::MessageBoxRequest& request) override {
        shown.push_back(request);
        if (whileShown) whileShown(request);
        const bool yesNo = answer && request.buttons == platform::MessageButtons::YesNo;
        return yesNo ? *answer : platform::MessageAnswer::Ok;
    }
    std::optional<std::string> browseForFolder(const std::string& prompt) override {
        prompts.push_back(prompt);
        return folderAnswer;
    }
};

// The access lists set, in order; a folder in `refused` fails with its text.
struct FakeFolderAccess final : platform::FolderAccess {
    std::vector<std::pair<std::string, platform::FolderAccessKind>> set;
    std::map<std::string, std::string> refused;

    std::optional<std::string> setAccess(std::string_view folder, platform::FolderAccessKind kind) override {
        if (refused.contains(std::string(folder))) return refused.at(std::string(folder));
        set.emplace_back(folder, kind);
        return std::nullopt;
    }
};

// A store's machine made of fakes, on Windows' separator.
struct FakeMachine {
    platform::FileRegistry registry;
    FakeFileSystem files;
    FakeSystem system;
    RecordingDialogs dialogs;
    Language language{"C:\\nowhere", '\\'};
    core::StoreEnvironment env{registry, files, system, dialogs, language, '\\'};
    auto parts() { return std::tie(registry, files, system, env); }
};

struct FakeEventLog final : platform::EventLog {
    struct Written {
        platform::EventLevel level;
        std::uint32_t id;
        std::vector<std::string> strings;
        bool operator==(const Written&) const = default;
    };
    std::vector<Written> written;
    bool report(platform::EventLevel level, std::uint32_t id, const std::vector<std::string>& strings) override {
        written.push_back({level, id, strings});
        return true;
    }
};

// Standard input as a script of chunks: each arrives whole, and a chunk
// marked `late` is not there yet when the reader asks what is waiting (a
// person still typing it). Each read notes what the output held by then.
class FakeStandardInput final : public platform::StandardInput {
public:
    struct Chunk {
        std::string bytes;
        bool late = false;
    };
    FakeStandardInput(std::vector<Chunk> chunks, std::function<std::string()> output)
        : chunks_(std::move(chunks)), output_(std::move(output)) {}
    std::vector<std::string> shownBeforeRead;  // the output as each read began

    std::size_t read(char* buffer, std::size_t size) override {
        shownBeforeRead.push_back(output_());
        if (next_ == chunks_.size()) return 0;
        std::string& bytes = chunks_[next_].bytes;
        const std::size_t n = bytes.copy(buffer, size);
        bytes.erase(0, n);
        if (bytes.empty()) ++next_;
        return n;
    }
    bool waiting() override { return next_ == chunks_.size() || !chunks_[next_].late; }

private:
    std::vector<Chunk> chunks_;
    std::size_t next_ = 0;
    std::function<std::string()> output_;
};

struct FakePrinters final : platform::Printers, Journaled {
    using Journaled::Journaled;
    std::map<std::string, std::string> ports;  // PrinterPorts: name -> "driver,port,..."
    std::string device;                        // windows/Device
    // After a write: the system's broadcast of the change, which lets
    // messages sent to the program in.
    std::function<void()> broadcast = [] {};

    std::string profileString(std::string_view section, std::string_view key) override {
        if (section == "windows" && key == "Device") return device;
        const auto it = ports.find(std::string(key));
        return section != "PrinterPorts" || it == ports.end() ? std::string() : it->second;
    }
    bool writeDefaultDevice(std::string_view d) override {
        note("printer device " + (device = d));
        broadcast();
        return true;
    }
    bool rewriteSettings(std::string_view printer) override {
        return note("printer rewrite " + std::string(printer)) && ports.contains(std::string(printer));
    }
    std::vector<std::string> installed() override {
        std::vector<std::string> names;
        for (const auto& [name, port] : ports) names.push_back(name);
        return names;
    }
};

struct FakeDesktopLock final : core::DesktopLock, Journaled {
    using Journaled::Journaled;
    void lockDesktop(bool icons, bool shell) override {
        note(std::string("lock ") + (icons ? "1" : "0") + (shell ? "1" : "0"));
    }
    void fullScreen() override { note("full screen"); }
    void restartShell() override { note("restart shell"); }
    void releaseKeyboardHook() override { note("release hook"); }
};

struct FakeShell final : platform::Shell, Journaled {
    using Journaled::Journaled;
    bool open(const std::string& target, const std::string& folder, int style) override {
        return note("open " + target + " in " + folder + " style " + std::to_string(style));
    }
    bool run(const std::string& command, int style) override {
        return note("run " + command + " style " + std::to_string(style));
    }
};

// Writes for real, or refuses while `refuse` is set.
struct SwitchableWriter final : platform::DurableWriter {
    bool refuse = false;
    bool replace(std::string_view path, std::string_view bytes) override {
        return !refuse && writeWholeFile(path, bytes);
    }
};

}  // namespace ombrix::test
