#include "app/administration.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "core/settings_reg.h"
#include "core/store.h"
#include "platform/system.h"
#include "support/language.h"
#include "support/messages.h"

namespace ombrix::app {
namespace {

constexpr std::array<std::pair<AdminForm, std::string_view>, 5> kForms{{{AdminForm::Profiles, "profili"},
                                                                         {AdminForm::TimeSlots, "periodi"},
                                                                         {AdminForm::Options, "opzioni"},
                                                                         {AdminForm::Log, "log"},
                                                                         {AdminForm::BrowserOptions, "browser"}}};

bool sameLetters(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
    });
}

}  // namespace

std::string_view adminFormName(AdminForm form) {
    for (const auto& [f, name] : kForms) {
        if (f == form) return name;
    }
    return {};
}

std::optional<AdminForm> adminFormNamed(std::string_view name) {
    for (const auto& [f, n] : kForms) {
        if (sameLetters(n, name)) return f;
    }
    return std::nullopt;
}

std::optional<AdministrationRequest> administrationRequest(const std::vector<std::string>& arguments,
                                                           platform::System& system) {
    if (arguments.empty() || !sameLetters(arguments[0], kAdministerSwitch)) return std::nullopt;
    AdministrationRequest request;
    // The token decides, never the environment: a pupil could set that.
    if (!system.elevated()) {
        request.refusal = msg::NeedsWindowsAdministrator;
    } else if (arguments.size() != 2 || !(request.form = adminFormNamed(arguments[1]))) {
        request.refusal = msg::ChangeNotCompleted;
    }
    return request;
}

bool AdministrationForms::open(AdminForm form) {
    if (!core::openDatabase(p_.env, p_.store)) return false;
    core::Controller& controller = p_.controller;
    if (form == AdminForm::Profiles) controller.beforeProfileEditor();
    const bool elsewhere = platform::changesNeedConsent(p_.env.system);
    const bool saved = elsewhere ? openElsewhere(form) : p_.showHere(form);
    // Windows going down ended the form with the program: nothing is read again.
    if (controller.shuttingDown()) return saved;
    // Elsewhere, the elevated copy of the program keeps the store's copy itself.
    if (!elsewhere) controller.storeChanged();
    switch (form) {
        case AdminForm::Profiles:
            controller.afterProfileEditor();
            break;
        case AdminForm::TimeSlots:
            controller.afterTimeSlotEditor();
            break;
        case AdminForm::Log:
            // The form here tells the controller itself; from another process
            // the switch is read back, and kept as it was when it cannot be.
            if (elsewhere) {
                const core::Value on = core::ReadField(p_.store.connection, "Opzioni", "LogSiti", core::kOptionsRow);
                if (!on.isNull()) controller.setLogSwitch(on.toBool());
            }
            break;
        case AdminForm::Options:
            // The password is read from the store at each login.
            break;
        case AdminForm::BrowserOptions:
            // The browser reads its switches from the store each time.
            break;
    }
    return saved;
}

bool AdministrationForms::openElsewhere(AdminForm form) {
    p_.enableMainForm(false);
    const ElevatedOutcome outcome = p_.starter.runForm(form);
    p_.enableMainForm(true);
    return ran(outcome) && outcome.exitCode == kAdminSaved;
}

void AdministrationForms::chooseProfile(const std::string& name) {
    core::Controller& controller = p_.controller;
    controller.onProfileChosen(name);
    if (!platform::changesNeedConsent(p_.env.system)) {
        controller.storeChanged();
        return;
    }
    const long long id = controller.profileInUse();
    if (id <= 0) return;
    // By identifier: a profile may be named like another one's number.
    (void)runControl({"use", "#" + std::to_string(id)});
}

bool AdministrationForms::runControl(const std::vector<std::string>& arguments) {
    std::vector<std::string> line{std::string(kElevatedFlag)};
    line.insert(line.end(), arguments.begin(), arguments.end());
    p_.enableMainForm(false);
    const ElevatedOutcome outcome = p_.starter.runControl(line);
    p_.enableMainForm(true);
    if (!ran(outcome)) return false;
    if (outcome.exitCode == 0) return true;
    // ombrixctl said why on its error stream, which nobody sees here.
    std::string command = "ombrixctl";
    for (const std::string& a : arguments) command += " " + a;
    p_.env.dialogs.messageBox({msg::ChangeNotCompleted,
                               p_.env.language.messageText(msg::ChangeNotCompleted) + " " + command + " (" +
                                   std::to_string(outcome.exitCode) + ")",
                               std::string(core::kProgramTitle), platform::MessageIcon::Critical,
                               platform::MessageButtons::Ok});
    return false;
}

bool AdministrationForms::ran(const ElevatedOutcome& outcome) {
    switch (outcome.outcome) {
        case ElevatedOutcome::Outcome::Ended:
            return true;
        case ElevatedOutcome::Outcome::Refused:
            p_.env.dialogs.messageBox({msg::NeedsWindowsAdministrator,
                                       p_.env.language.messageText(msg::NeedsWindowsAdministrator),
                                       std::string(core::kProgramTitle), platform::MessageIcon::Exclamation,
                                       platform::MessageButtons::Ok});
            return false;
        case ElevatedOutcome::Outcome::Failed:
            p_.env.dialogs.messageBox({{}, outcome.error, std::string(core::kProgramTitle),
                                       platform::MessageIcon::Critical, platform::MessageButtons::Ok});
            return false;
    }
    return false;
}

}  // namespace ombrix::app
