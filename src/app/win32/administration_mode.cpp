#include "app/win32/administration_mode.h"

#include <windows.h>

#include <shellapi.h>

#include <string>
#include <vector>

#include "app/administration.h"
#include "app/win32/forms/options_form.h"
#include "browser/win32/browser_options_form.h"
#include "core/controller.h"
#include "core/machine_policy.h"
#include "core/policy_locks.h"
#include "core/settings_reg.h"
#include "core/store.h"
#include "core/store_copy.h"
#include "core/store_location.h"
#include "enforce/log_file.h"
#include "enforce/win32/log_form.h"
#include "platform/failures.h"
#include "platform/win32/handles.h"
#include "platform/win32/machine.h"
#include "platform/win32/wide.h"
#include "profiles/win32/profile_form.h"
#include "schedule/win32/slot_form.h"
#include "support/language.h"
#include "support/messages.h"
#include "support/win32/hidden_window.h"
#include "support/win32/program_icon.h"

namespace ombrix::win32 {
namespace {

std::vector<std::string> commandLineArguments() {
    int count = 0;
    LPWSTR* words = CommandLineToArgvW(GetCommandLineW(), &count);
    const UniqueLocal owner(words);
    std::vector<std::string> arguments;
    if (!words) return arguments;
    for (int i = 1; i < count; ++i) arguments.push_back(fromWide(words[i]));
    return arguments;
}

void refuse(Machine& machine, Language& language, MessageId id, const std::string& detail) {
    std::string text = language.messageText(id);
    if (!detail.empty()) text += " " + detail;
    (void)machine.dialogs().messageBox({id, text, std::string(core::kProgramTitle), platform::MessageIcon::Critical,
                                        platform::MessageButtons::Ok});
}

int showForm(app::AdminForm form, Machine& machine, Language& language) {
    core::StoreEnvironment env{machine.registry(), machine.fileSystem(), machine.system(), machine.dialogs(),
                               language};
    core::Store store;
    store.folder = core::chooseDatabaseFolder(env);
    core::traceInLogFolder(store.folder, '\\', core::kProgramExeName);
    if (!core::openDatabase(env, store)) return app::kAdminRefused;
    // The running program's main form is topmost: a topmost owner keeps
    // this form above it (every form stays above a topmost owner).
    const UniqueWindow owner = createHiddenWindow(L"OmbrixAdministration", WS_EX_TOOLWINDOW | WS_EX_TOPMOST,
                                                  L"Ombrix", programIcon(32));
    machine.dialogs().setOwner(owner.get());
    // Whatever the form changed, when it closes, is what a lost store falls back on.
    struct KeepCopy {
        core::Store& store;
        ~KeepCopy() {
            platform::guarded([&] {
                if (const auto failure = core::keepStoreCopy(store.connection)) {
                    platform::recordFailure("the store's copy was not kept", *failure);
                }
            });
        }
    } keepCopy{store};
    switch (form) {
        case app::AdminForm::Profiles: {
            ProfileFormContext context{store.connection, language, machine.dialogs()};
            showProfileForm(owner.get(), context);
            return app::kAdminSaved;
        }
        case app::AdminForm::TimeSlots: {
            SlotFormContext context{store.connection, language, machine.dialogs(),
                                    core::policy::readLocks(machine.registry())};
            showSlotForm(owner.get(), context);
            return app::kAdminSaved;
        }
        case app::AdminForm::Log: {
            // The running program reads the switch back when this ends.
            const core::Value on = core::ReadField(store.connection, "Opzioni", "LogSiti", core::kOptionsRow);
            enforce::VisitedSitesLog siteLog(machine.fileSystem(), machine.clock(), store.connection,
                                             [&] { return store.folder; }, '\\');
            LogFormContext context{store.connection, siteLog, language, machine.dialogs(), machine.clock(),
                                   !on.isNull() && on.toBool(), [](bool) {}};
            showLogForm(owner.get(), context);
            return app::kAdminSaved;
        }
        case app::AdminForm::Options: {
            const bool saved = showOptionsForm(owner.get(), language, [&](const std::string& a, const std::string& b) {
                return core::storeAdministratorPassword(env, store, a, b);
            }, core::policy::passwordManaged(env.registry));
            return saved ? app::kAdminSaved : app::kAdminUnsaved;
        }
        case app::AdminForm::BrowserOptions:
            showBrowserOptionsForm(owner.get(), language, store.connection);
            return app::kAdminSaved;
    }
    return app::kAdminRefused;
}

}  // namespace

std::optional<int> runAdministrationModeIfAsked() {
    const std::vector<std::string> arguments = commandLineArguments();
    Machine& machine = win32::machine();
    const std::optional<app::AdministrationRequest> request = app::administrationRequest(arguments, machine.system());
    if (!request) return std::nullopt;
    Language language(machine.system().programFolder(), '\\', machine.system().userInterfaceLanguage());
    if (!request->form) {
        std::string asked;
        for (const std::string& argument : arguments) asked += (asked.empty() ? "" : " ") + argument;
        refuse(machine, language, request->refusal,
               request->refusal == msg::NeedsWindowsAdministrator ? std::string() : asked);
        return app::kAdminRefused;
    }
    return showForm(*request->form, machine, language);
}

}  // namespace ombrix::win32
