// Platform devices: registration, state poll, commands, command line. The contracts of what the HAL
// calls through its tables are in include/pcsim/device.h.
//
// There are one registration record and one status record per device, allocated by the first
// registration and kept, and one information record per device number, static. A later registration
// fills the same records again. The state table is set from the command line; the poll, in the
// HAL's timer context, reports where it differs from what the HAL was last told. Everything else
// runs on the HAL's own thread, and there are no locks. Until the devices are registered, commands
// but the one that registers them answer -1, and neither they nor the poll touch anything.
#ifndef PCSIM_DEVICE_PCSIMDEVICE_H
#define PCSIM_DEVICE_PCSIMDEVICE_H

#include "pcsim/device.h"
#include "platform/base/export.h"

#endif
