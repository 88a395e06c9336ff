// The kernel's table of interface counters, "/proc/net/dev".
//
// The kernel formats the table line by line while it is being read, and formatting is what costs:
// a line takes it longer than all we do with it. So reading stops at the line wanted, and asks for
// as much at a time as brought that line the last time.
#ifndef PCSIM_PORT_PROCNETDEV_H
#define PCSIM_PORT_PROCNETDEV_H

#include <stdint.h>

#include "pcsim/port.h"

namespace pcsim {

constexpr char kProcNetDev[] = "/proc/net/dev";
constexpr uint32_t kProcNetDevColumns = 16;

// Opens the table, or takes the one that is still open and begins at its start. False: can't.
bool openProcNetDev() noexcept;

// Closes the table. A caller that leaves it open leaves it to the next one, which opens none.
void closeProcNetDev() noexcept;

// Reads the counters of "eth<interfaceNumber>" from the table, opened if need be. Returns how many
// numbers its line holds, at most kProcNetDevColumns, 0 when there is no such line. The rest of
// 'columns' is left alone.
uint32_t readProcNetDev(uint32_t interfaceNumber, uint64_t (&columns)[kProcNetDevColumns]) noexcept;

}  // namespace pcsim

#endif
