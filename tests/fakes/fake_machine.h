#pragma once
// Fakes of the machine for the native tests: a scripted file system, system
// facts, dialogs that record what was shown, folder access lists, and a
// store's environment made of them.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "core/store_location.h"
#include "platform/dialogs.h"
#include "platform/file_registry.h"
#include "platform/filesystem.h"
#include "platform/folder_access.h"
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
    int calls = 0;  // of any kind
    int copies = 0;
    std::uintmax_t bytesRead = 0;

    bool fileExists(std::string_view path) override {
        ++calls;
        return files.count(std::string(path)) > 0;
    }
    bool createDirectory(std::string_view path) override {
        ++calls;
        if (blocked(path)) return directories.count(std::string(path)) > 0;
        directories.insert(std::string(path));
        return true;
    }
    bool copyFile(std::string_view from, std::string_view to) override {
        ++calls;
        const auto it = files.find(std::string(from));
        if (it == files.end() || blocked(to)) return false;
        ++copies;
        bytesRead += sizeOf(it->first);
        files[std::string(to)] = it->second;
        return true;
    }
    bool removeFile(std::string_view path) override {
        ++calls;
        if (blocked(path)) return false;
        return files.erase(std::string(path)) > 0;
    }
    bool moveFile(std::string_view from, std::string_view to) override {
        ++calls;
        const auto it = files.find(std::string(from));
        if (it == files.end() || blocked(from) || blocked(to)) return false;
        std::string contents = std::move(it->second);
        files.erase(it);
        files[std::string(to)] = std::move(contents);
        if (const auto size = sizes.extract(std::string(from))) sizes[std::string(to)] = size.mapped();
        return true;
    }
    platform::BoundedRead readFile(std::string_view path, std::size_t limit) override {
        ++calls;
        const auto it = files.find(std::string(path));
        if (it == files.end()) return {};
        if (sizeOf(it->first) > limit) {
            bytesRead += limit + 1;
            return {platform::BoundedRead::Outcome::TooLarge, {}};
        }
        bytesRead += it->second.size();
        return {platform::BoundedRead::Outcome::Read, it->second};
    }

private:
    std::uintmax_t sizeOf(const std::string& path) const {
        const auto reported = sizes.find(path);
        return reported != sizes.end() ? reported->second : files.at(path).size();
    }
    bool blocked(std::string_view path) const {
        for (const auto& dir : readOnlyDirectories) {
            if (std::string_view(path).substr(0, dir.size()) == dir) return true;
        }
        return false;
    }
};

class FakeSystem final : public platform::System {
public:
    int major = 10;
    int minor = 0;
    std::map<std::string, std::string> env{{"HOMEDRIVE", "C:"}};
    std::string folder = "C:\\Programmi\\Ombrix";

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
    std::string fileName = "ombrix.exe";
    bool isElevated = false;
    std::uint16_t displayLanguage = 0x0410;
};

class RecordingDialogs final : public platform::Dialogs {
public:
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
        if (answer && request.buttons == platform::MessageButtons::YesNo) return *answer;
        return platform::MessageAnswer::Ok;
    }
    std::optional<std::string> browseForFolder(const std::string& prompt) override {
        prompts.push_back(prompt);
        return folderAnswer;
    }
};

// The access lists set, in order; a folder in `refused` fails with its text.
class FakeFolderAccess final : public platform::FolderAccess {
public:
    std::vector<std::pair<std::string, platform::FolderAccessKind>> set;
    std::map<std::string, std::string> refused;

    std::optional<std::string> setAccess(std::string_view folder, platform::FolderAccessKind kind) override {
        const auto it = refused.find(std::string(folder));
        if (it != refused.end()) return it->second;
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

}  // namespace ombrix::test
