#pragma once
// Fakes of what applying a profile reaches: printers as the user's profile
// lists them, a desktop lock and a shell that record what they are asked, a
// durable writer that can refuse.

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "core/desktop_lock.h"
#include "fakes/fake_controller.h"
#include "platform/durable.h"
#include "platform/files.h"
#include "platform/printers.h"
#include "platform/shell.h"

namespace ombrix::test {

class FakePrinters final : public platform::Printers {
public:
    explicit FakePrinters(Journal& j) : journal_(j) {}
    std::map<std::string, std::string> ports;  // PrinterPorts: name -> "driver,port,..."
    std::string device;                        // windows/Device
    // After a write: the system's broadcast of the change, which lets
    // messages sent to the program in.
    std::function<void()> broadcast = [] {};

    std::string profileString(std::string_view section, std::string_view key) override {
        if (section == "windows" && key == "Device") return device;
        if (section != "PrinterPorts") return {};
        const auto it = ports.find(std::string(key));
        return it == ports.end() ? std::string() : it->second;
    }
    bool writeDefaultDevice(std::string_view d) override {
        device = d;
        journal_.add("printer device " + device);
        broadcast();
        return true;
    }
    bool rewriteSettings(std::string_view printer) override {
        journal_.add("printer rewrite " + std::string(printer));
        return ports.count(std::string(printer)) > 0;
    }
    std::vector<std::string> installed() override {
        std::vector<std::string> names;
        for (const auto& [name, port] : ports) names.push_back(name);
        return names;
    }

private:
    Journal& journal_;
};

class FakeDesktopLock final : public core::DesktopLock {
public:
    explicit FakeDesktopLock(Journal& j) : journal_(j) {}
    void lockDesktop(bool icons, bool shell) override {
        journal_.add(std::string("lock ") + (icons ? "1" : "0") + (shell ? "1" : "0"));
    }
    void fullScreen() override { journal_.add("full screen"); }
    void restartShell() override { journal_.add("restart shell"); }
    void releaseKeyboardHook() override { journal_.add("release hook"); }

private:
    Journal& journal_;
};

class FakeShell final : public platform::Shell {
public:
    explicit FakeShell(Journal& j) : journal_(j) {}
    bool open(const std::string& target, const std::string& folder, int style) override {
        journal_.add("open " + target + " in " + folder + " style " + std::to_string(style));
        return true;
    }
    bool run(const std::string& command, int style) override {
        journal_.add("run " + command + " style " + std::to_string(style));
        return true;
    }

private:
    Journal& journal_;
};

// Writes for real, or refuses while `refuse` is set.
class SwitchableWriter final : public platform::DurableWriter {
public:
    bool refuse = false;
    bool replace(std::string_view path, std::string_view bytes) override {
        if (refuse) return false;
        return writeWholeFile(path, bytes);
    }
};

}  // namespace ombrix::test
