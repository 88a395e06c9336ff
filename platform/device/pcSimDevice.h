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

// clang-format off
extern "C" {
// Called once, at system initialisation: starts the state poll and registers the devices. Returns
// what the registration returns.
PCSIM_EXPORT int32_t pcSimDeviceInit() noexcept;
// Builds all records and hands them to halRegisterDevice once, whose result is ignored. 0; -1 when
// there is no memory for the registration record, -2 to -5 for the status record of device 0, 1, 3
// or 5. What was allocated until then is kept for the next try.
PCSIM_EXPORT int32_t pcSimRegisterDevice() noexcept;

PCSIM_EXPORT HalDeviceCapability* pcSimGetDeviceCapability(const char* typeName) noexcept;
PCSIM_EXPORT int32_t pcSimDeviceCommand(const HalDeviceCommand* command) noexcept;

// The handlers that pcSimDeviceCommand hands a device's commands to; HAL_DEVICE_REGISTER is no
// command of theirs. A number other than 0 and 1 is no Tarn and answers as an unknown device.
PCSIM_EXPORT int32_t pcSimTarnCmd(uint32_t deviceNumber, const HalDeviceCommand* command) noexcept;
PCSIM_EXPORT int32_t pcSimMouseCmd(const HalDeviceCommand* command) noexcept;
PCSIM_EXPORT int32_t pcSimFloppyCmd(const HalDeviceCommand* command) noexcept;

// A line of the HAL's command line: "state" DEVICE STATE sets the state table (-1 for a device above
// 5); any other keyword is followed by the code, device and reply handle of a command, whose result
// is returned. Both print what they do.
PCSIM_EXPORT int32_t pcSimDeviceCLIHook(const HalDeviceCli* cli) noexcept;
}
// clang-format on

#endif
