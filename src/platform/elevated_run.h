#pragma once
// What became of a program of ours run again through the consent prompt.

#include <string>

namespace ombrix::platform {

struct ElevatedRun {
    enum class Outcome { Ended, Refused, Failed };  // Refused: the person at the prompt said no
    Outcome outcome = Outcome::Failed;
    int exitCode = 1;   // when Ended
    std::string error;  // when Failed: the system's message
};

}  // namespace ombrix::platform
