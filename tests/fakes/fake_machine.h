#pragma once
// Fakes of the machine: a scripted file system, system facts, dialogs, folder access lists and the
// event log that record what they get, a store's environment of them, and what a profile reaches.
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
#include "platform/system.h"
#include "support/language.h"

namespace ombrix::test {

class FakeFileSystem final : public platform::FileSystem {
public:
    std::map<std::string, std::string> files;  // path -> contents
    std::set<std::string> directories;
    std::set<std::string> readOnlyDirectories;  // files cannot be made or removed inside
    std::map<std::string, std::uintmax_t> sizes;  // a size reported instead of the contents' (a file too large to hold)
    int calls = 0, copies = 0;  // calls of any kind
    std::uintmax_t bytesRead = 0;
    bool fileExists(std::string_view path) override { return files.contains(call(path)); }
    bool createDirectory(std::string_view p) override { return blocked(p) ? directories.contains(call(p)) : (directories.insert(call(p)), true); }
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
        using enum platform::BoundedRead::Outcome;
        return tooLarge ? platform::BoundedRead{TooLarge, {}} : platform::BoundedRead{Read, it->second};
    }
private:
    std::string call(std::string_view path) { return ++calls, std::string(path); }
    std::uintmax_t sizeOf(const std::string& path) const { return sizes.contains(path) ? sizes.at(path) : files.at(path).size(); }
    bool blocked(std::string_view path) const {
        return std::ranges::any_of(readOnlyDirectories, [&](const std::string& dir) { return path.starts_with(dir); });
    }
};

struct FakeSystem final : platform::System {
    int major = 10, minor = 0;
    std::map<std::string, std::string> env{{"HOMEDRIVE", "C:"}};
    std::string folder = "C:\\Programmi\\Ombrix", fileName = "ombrix.exe";
    bool isElevated = false;
    int windowsMajorVersion() override { return major; }
    int windowsMinorVersion() override { return minor; }
    std::string environment(std::string_view name) override { return env.contains(std::string(name)) ? env[std::string(name)] : ""; }
    std::string programFolder() override { return folder; }
    std::string programFileName() override { return fileName; }
    bool elevated() override { return isElevated; }
    std::uint16_t userInterfaceLanguage() override { return 0x0410; }
};

struct RecordingDialogs final : platform::Dialogs {
    std::vector<platform::MessageBoxRequest> shown;
    std::vector<std::string> prompts;
    std::optional<std::string> folderAnswer;
    std::optional<platform::MessageAnswer> answer;  // to Yes/No questions; unset, they get Ok, which is no Yes
    std::function<void(const platform::MessageBoxRequest&)> whileShown;  // runs while a box is open
    platform::MessageAnswer messageBox(const platform::MessageBoxRequest& request) override {
        shown.push_back(request);
        if (whileShown) whileShown(request);
        return answer && request.buttons == platform::MessageButtons::YesNo ? *answer : platform::MessageAnswer::Ok;
    }
    std::optional<std::string> browseForFolder(const std::string& prompt) override { return prompts.push_back(prompt), folderAnswer; }
};

// The access lists set, in order; a folder in `refused` fails with its text.
struct FakeFolderAccess final : platform::FolderAccess {
    std::vector<std::pair<std::string, platform::FolderAccessKind>> set;
    std::map<std::string, std::string> refused;
    std::optional<std::string> setAccess(std::string_view folder, platform::FolderAccessKind kind) override {
        if (refused.contains(std::string(folder))) return refused.at(std::string(folder));
        return set.emplace_back(folder, kind), std::nullopt;
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
        return written.push_back({level, id, strings}), true;
    }
};

struct FakePrinters final : platform::Printers, Journaled {
    using Journaled::Journaled;
    std::map<std::string, std::string> ports;  // PrinterPorts: name -> "driver,port,..."
    std::string device;                        // windows/Device
    std::function<void()> broadcast = [] {};   // after a write: the system's broadcast, which lets messages in
    std::string profileString(std::string_view section, std::string_view key) override {
        if (section == "windows" && key == "Device") return device;
        const auto it = ports.find(std::string(key));
        return section != "PrinterPorts" || it == ports.end() ? std::string() : it->second;
    }
    bool writeDefaultDevice(std::string_view d) override { return note("printer device " + (device = d)), broadcast(), true; }
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
    void lockDesktop(bool icons, bool shell) override { note(std::string("lock ") + (icons ? "1" : "0") + (shell ? "1" : "0")); }
    void fullScreen() override { note("full screen"); }
    void restartShell() override { note("restart shell"); }
    void releaseKeyboardHook() override { note("release hook"); }
};

struct FakeShell final : platform::Shell, Journaled {
    using Journaled::Journaled;
    bool open(const std::string& to, const std::string& in, int style) override {
        return note("open " + to + " in " + in + " style " + std::to_string(style));
    }
    bool run(const std::string& command, int style) override { return note("run " + command + " style " + std::to_string(style)); }
};

// Writes for real, or refuses while `refuse` is set.
struct SwitchableWriter final : platform::DurableWriter {
    bool refuse = false;
    bool replace(std::string_view path, std::string_view bytes) override { return !refuse && writeWholeFile(path, bytes); }
};

}  // namespace ombrix::test
