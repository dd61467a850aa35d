#pragma once

// The simulated meter communication control: the C interface of
// meterimport/meterctl.h over a `SimMemory`. The shared library
// libmeterctl-sim.so exports this table; tests and the fuzz target use it
// directly.
//
// Behaviour:
// - Creation reads the memory file named by $METERIMPORT_SIM_MEMORY, else by
//   the registration value "MemoryFile". No file, or one that cannot be read,
//   gives a control that lists no drivers (creation still succeeds).
// - Connect succeeds for a driver key listed in "drivers" (compared exactly)
//   on the port the memory names under "port", or on any port when it names
//   none; the connect text is "COM<port>:<driver name>".
// - Identification items, reads and records need an open connection.
// - Read data makes min(records of the kind, wanted count) records available
//   (0 for a kind the memory does not hold). A failing read leaves the
//   records of the previous read available. Disconnect drops them.
// - Reads wait "ms_per_record" milliseconds per record made available.
// - request_cancel ends the read that runs (between two records) or the next
//   one with METERCTL_ERR_CANCELLED; a connect or disconnect drops the
//   request.
// - Every call named in "fail" fails with the error flag set.

#include "meter/sim/sim_memory.h"
#include "meterimport/meterctl.h"

namespace mi::sim {

// The table of the simulated control.
const meterctl_interface* SimInterface();

// An instance over `memory`, to be ended with SimInterface()->destroy.
meterctl_instance* CreateSimInstance(SimMemory memory);

}  // namespace mi::sim
