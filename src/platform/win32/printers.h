#pragma once
// The printers installed on this machine, local and connected.

#include <string>
#include <vector>

namespace ombrix::win32 {

// Their names in the spooler's order; empty when there are none or the
// spooler cannot be asked.
[[nodiscard]] std::vector<std::string> installedPrinters();

}  // namespace ombrix::win32
