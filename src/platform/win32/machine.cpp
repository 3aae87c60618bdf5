#include "platform/win32/machine.h"

namespace ombrix::win32 {

Machine::Machine()
    : processes_(makeProcesses()),
      windows_(makeWindowSystem()),
      keyboard_(makeKeyboardInput()),
      shell_(makeShell()),
      clock_(makeClock()),
      pump_(makeEventPump()),
      printers_(makePrinters()),
      eventLog_(makeEventLog()) {}

Machine& machine() {
    static Machine instance;
    return instance;
}

}  // namespace ombrix::win32
