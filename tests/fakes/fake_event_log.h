// The event log's fake lives with the machine's.
#include "fakes/fake_machine.h"
