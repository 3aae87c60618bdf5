#include <windows.h>

#include <gtest/gtest.h>

#include "fakes/fixtures.h"
#include "platform/win32/machine.h"
#include "platform/text.h"
#include "window_recorder.h"

namespace ombrix::win32 {
namespace {

using test::quoted;

std::string recorderLine(const std::string& log, const std::string& extra = {}) {
    return quoted(test::recorderPath()) + " --log " + quoted(log) + (extra.empty() ? "" : " " + extra);
}

bool running(const std::string& imageName) {
    for (const auto& p : machine().processes().snapshot()) {
        if (equalsNoCase(p.imageName, imageName)) return true;
    }
    return false;
}

// Ends the recorder that logged to `log` (the shell gives no handle back).
void endRecorder(const std::string& log) {
    if (const auto pid = test::waitForLine(log, "start")) machine().processes().terminate(std::stoul(*pid));
}

TEST(Win32Shell, RunStartsTheProgramInTheRequestedWindowStyle) {
    struct Case {
        int style;
        int showState;  // what the started program is told
        bool visible, iconic, zoomed;
    };
    const Case cases[] = {
        {0, SW_HIDE, false, false, false},          {1, SW_SHOWNORMAL, true, false, false},
        {2, SW_SHOWMINIMIZED, true, true, false},   {3, SW_SHOWMAXIMIZED, true, false, true},
        {4, SW_SHOWNOACTIVATE, true, false, false}, {6, SW_SHOWMINNOACTIVE, true, true, false},
    };
    test::TempDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.style);
        const std::string log = dir.file("style" + std::to_string(c.style) + ".log");
        ASSERT_TRUE(machine().shell().run(recorderLine(log), c.style));
        EXPECT_EQ(test::waitForLine(log, "show"), "1 " + std::to_string(c.showState));
        const HWND hwnd = test::waitForWindow(log);
        ASSERT_NE(hwnd, nullptr);
        EXPECT_EQ(IsWindowVisible(hwnd) != 0, c.visible);
        EXPECT_EQ(IsIconic(hwnd) != 0, c.iconic);
        EXPECT_EQ(IsZoomed(hwnd) != 0, c.zoomed);
        endRecorder(log);
    }
}

// As the kiosk launcher runs "<Program Files>\internet explorer\iexplore -k <address>".
TEST(Win32Shell, RunResolvesAnUnquotedPathWithBlanksAndNoExtension) {
    test::TempDir dir;
    test::copyRecorder(dir.file("cartella con spazi\\iexplore.exe"));
    const std::string log = dir.file("kiosk.log");
    ASSERT_EQ(dir.file("x").find(' '), std::string::npos) << "the test folder itself must be free of blanks";
    ASSERT_TRUE(machine().shell().run(dir.file("cartella con spazi\\iexplore") + " --log " + log +
                                          " -k http://www.example.org/",
                                      4));
    EXPECT_TRUE(test::waitForLine(log, "arg -k"));
    EXPECT_EQ(test::waitForLine(log, "show"), "1 " + std::to_string(SW_SHOWNOACTIVATE));
    const auto lines = test::logLines(log);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "arg http://www.example.org/"), lines.end());
    endRecorder(log);
}

TEST(Win32Shell, RunRefusesWhatCannotStart) {
    test::TempDir dir;
    const std::string copy = test::copyRecorder(dir.file("ombrixstile.exe"));
    for (const int style : {-1, 7, 9}) {
        SCOPED_TRACE(style);
        EXPECT_FALSE(machine().shell().run(quoted(copy), style));
        EXPECT_FALSE(running("ombrixstile.exe")) << "an unknown style starts nothing";
    }
    EXPECT_FALSE(machine().shell().run(dir.file("nessuno.exe"), 1));
    EXPECT_FALSE(machine().shell().run("", 1));
}

bool setDefaultValue(const std::wstring& key, const std::wstring& value) {
    HKEY k = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &k, nullptr) !=
        ERROR_SUCCESS) {
        return false;
    }
    const bool ok = RegSetValueExW(k, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
    RegCloseKey(k);
    return ok;
}

struct RemovedAfterwards {
    explicit RemovedAfterwards(std::wstring k) : key(std::move(k)) {}
    std::wstring key;  // below the machine's root
    RemovedAfterwards(const RemovedAfterwards&) = delete;
    RemovedAfterwards& operator=(const RemovedAfterwards&) = delete;
    ~RemovedAfterwards() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str()); }
};

// Registers the open command of a class (a document type or a protocol) in
// the machine's classes, where the shell looks, and gives back what was there.
class ClassRegistration {
public:
    ClassRegistration(const std::wstring& key, const std::wstring& command) : key_(L"Software\\Classes\\" + key) {
        HKEY k = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, (key_ + L"\\shell\\open\\command").c_str(), 0, KEY_READ, &k) ==
            ERROR_SUCCESS) {
            DWORD size = sizeof previous_ - sizeof(wchar_t);
            hadPrevious_ = RegQueryValueExW(k, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(previous_),
                                            &size) == ERROR_SUCCESS;
            RegCloseKey(k);
        }
        ok_ = setDefaultValue(key_ + L"\\shell\\open\\command", command);
    }
    ~ClassRegistration() {
        if (!hadPrevious_) {
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, key_.c_str());
            return;
        }
        setDefaultValue(key_ + L"\\shell\\open\\command", previous_);
    }
    ClassRegistration(const ClassRegistration&) = delete;
    ClassRegistration& operator=(const ClassRegistration&) = delete;
    [[nodiscard]] bool ok() const { return ok_; }

private:
    std::wstring key_;
    wchar_t previous_[1024] = {};
    bool hadPrevious_ = false;
    bool ok_ = false;
};

TEST(Win32Shell, OpenHandsADocumentToItsProgramInTheGivenFolder) {
    test::TempDir dir;
    const std::string log = dir.file("open.log");
    const std::string document = dir.file("pagina iniziale.ombrixprova");
    test::writeFile(document, "x");
    const std::string folder = dir.file("lavoro");
    std::filesystem::create_directories(pathFromUtf8(folder));

    const ClassRegistration type(L"OmbrixProva.Documento", toWide(recorderLine(log, "\"%1\"")));
    ASSERT_TRUE(type.ok());
    const RemovedAfterwards extension(L"Software\\Classes\\.ombrixprova");
    ASSERT_TRUE(setDefaultValue(extension.key, L"OmbrixProva.Documento"));
    ASSERT_TRUE(machine().shell().open(document, folder, platform::kNormalFocus));
    EXPECT_EQ(test::waitForLine(log, "arg"), document);
    const auto cwd = test::waitForLine(log, "cwd");
    ASSERT_TRUE(cwd);
    EXPECT_TRUE(equalsNoCase(*cwd, folder) || equalsNoCase(*cwd, folder + "\\")) << *cwd;
    endRecorder(log);
}

// Under Wine the machine's http command stands for the default browser.
TEST(Win32Shell, OpenGivesAnAddressToTheDefaultBrowser) {
    test::TempDir dir;
    const std::string log = dir.file("http.log");
    const ClassRegistration browser(L"http", toWide(recorderLine(log, "\"%1\"")));
    ASSERT_TRUE(browser.ok());
    const std::string address = "http://www.example.org/scuola?classe=3a&nome=città";
    ASSERT_TRUE(machine().shell().open(address, "C:\\", platform::kNormalFocus));
    EXPECT_EQ(test::waitForLine(log, "arg"), address);
    endRecorder(log);
}

TEST(Win32Shell, OpenFailsForWhatIsNotThere) {
    test::TempDir dir;
    EXPECT_FALSE(machine().shell().open(dir.file("manca.txt"), "C:\\", platform::kNormalFocus));
    EXPECT_FALSE(machine().shell().open("", "C:\\", platform::kNormalFocus));
}

}  // namespace
}  // namespace ombrix::win32
