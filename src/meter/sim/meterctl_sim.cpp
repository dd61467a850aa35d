// The entry point of libmeterctl-sim.so, the simulated meter communication
// control.

#include "meter/sim/sim_control.h"
#include "meterimport/meterctl.h"

extern "C" METERCTL_EXPORT const meterctl_interface* meterctl_get_interface(void) {
  return mi::sim::SimInterface();
}
