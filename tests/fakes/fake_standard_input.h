// Typed input's fake lives with the machine's.
#include "fakes/fake_machine.h"
