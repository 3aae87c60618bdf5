// The fakes applying a profile reaches live with the machine's.
#include "fakes/fake_machine.h"
