// Natively there is no system profile reader: the portable one stands in.
#include "platform/ini.h"

namespace ombrix::ini {

ProfileReader systemProfileReader() { return &portableProfileString; }

}  // namespace ombrix::ini
