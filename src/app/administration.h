#pragma once
// The administrator's forms that write the store, opened in this process or,
// when the system wants consent for a change (the program runs in a pupil's
// session without administrator rights), in a second copy of the program
// started through the consent prompt. Either way the program does the same
// after each form: it reads again what the form may have changed.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/controller.h"
#include "core/store_location.h"
#include "platform/elevated_run.h"
#include "support/messages.h"

namespace ombrix::app {

enum class AdminForm { Profiles, TimeSlots, Options, Log, BrowserOptions };

// The switch that starts the administration mode, and the name of each form after it.
inline constexpr std::string_view kAdministerSwitch = "/amministra";
[[nodiscard]] std::string_view adminFormName(AdminForm form);
[[nodiscard]] std::optional<AdminForm> adminFormNamed(std::string_view name);

// What the administration mode is asked: the arguments after the program's
// name. Refused unless the process really holds administrator rights (the
// token, whatever the environment says).
struct AdministrationRequest {
    std::optional<AdminForm> form;  // set when the mode may run
    MessageId refusal;              // otherwise the message to show
};
// nullopt when the arguments do not ask for the administration mode.
[[nodiscard]] std::optional<AdministrationRequest> administrationRequest(const std::vector<std::string>& arguments,
                                                                         platform::System& system);

// Exit codes of the administration mode.
inline constexpr int kAdminSaved = 0;     // the form closed (for the options: a password was stored)
inline constexpr int kAdminRefused = 1;   // not elevated, unknown form, or no store
inline constexpr int kAdminUnsaved = 2;   // the options form was cancelled

// A program of ours run through the consent prompt, and waited for.
using ElevatedOutcome = platform::ElevatedRun;

class ElevatedStarter {
public:
    virtual ~ElevatedStarter() = default;
    // This program with "/amministra <form>", shown; the caller's timers keep running meanwhile.
    virtual ElevatedOutcome runForm(AdminForm form) = 0;
    // ombrixctl with `arguments`, hidden; the caller's timers keep running meanwhile.
    virtual ElevatedOutcome runControl(const std::vector<std::string>& arguments) = 0;
};

// The first argument of every elevated ombrixctl: it must not ask again.
inline constexpr std::string_view kElevatedFlag = "--elevated";

class AdministrationForms final : public core::ElevatedControl {
public:
    struct Parts {
        core::Controller& controller;
        core::StoreEnvironment& env;
        core::Store& store;
        ElevatedStarter& starter;
        // The main form, disabled while an elevated form is open as a modal form would leave it.
        std::function<void(bool)> enableMainForm;
        // Shows the form in this process, modal; false only for options closed unsaved.
        std::function<bool(AdminForm)> showHere;
    };
    explicit AdministrationForms(Parts parts) : p_(std::move(parts)) {}

    // Opens the form and reads again what it may have changed. False only
    // when the options form stored no password.
    bool open(AdminForm form);
    // The profile combo's choice: in use at once; saved through an elevated
    // ombrixctl when the store is not ours to write.
    void chooseProfile(const std::string& name);
    // ombrixctl with `arguments`, elevated, while the main form waits
    // disabled. A refusal of ombrixctl's, whose words nobody sees here, is
    // told with the command line.
    bool runControl(const std::vector<std::string>& arguments) override;

private:
    bool openElsewhere(AdminForm form);
    // The prompt's outcome told to the administrator; true when the program ran.
    bool ran(const ElevatedOutcome& outcome);

    Parts p_;
};

}  // namespace ombrix::app
