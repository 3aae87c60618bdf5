#pragma once
// Message boxes and the folder browser: the only dialogue the store and the
// editors have with the user. The program shows real windows; ombrixctl
// writes the message to standard error; tests record what was shown.

#include <optional>
#include <string>

#include "platform/message_id.h"

namespace ombrix::platform {

enum class MessageIcon { Exclamation, Information, Critical };
enum class MessageButtons { Ok, YesNo };
enum class MessageAnswer { Ok, Yes, No };

struct MessageBoxRequest {
    MessageId messageId;  // the main text, for logs and ombrixctl
    std::string text;
    std::string title;
    MessageIcon icon = MessageIcon::Information;
    MessageButtons buttons = MessageButtons::Ok;
};

class Dialogs {
public:
    virtual ~Dialogs() = default;
    virtual MessageAnswer messageBox(const MessageBoxRequest& request) = 0;
    // The shell's folder browser with the given prompt; nullopt when cancelled.
    virtual std::optional<std::string> browseForFolder(const std::string& prompt) = 0;
};

}  // namespace ombrix::platform
