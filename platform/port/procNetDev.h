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

// The table as one call reads it. The descriptor is the call's own, so that statistics may be taken
// of several ports at a time; what is left open is taken by one call alone.
class ProcNetDev {
public:
    // Opens the table, or takes the one that is left open.
    ProcNetDev() noexcept;
    // Closes it.
    ~ProcNetDev();
    ProcNetDev(const ProcNetDev&) = delete;
    ProcNetDev& operator=(const ProcNetDev&) = delete;

    bool isOpen() const noexcept { return descriptor_ >= 0; }

    // Leaves the table open to a later call, which begins at its start. One at most stays open,
    // however many are left.
    void leaveOpen() noexcept;

    // Reads the counters of "eth<interfaceNumber>". Returns how many numbers its line holds, at
    // most kProcNetDevColumns, 0 when there is no such line. The rest of 'columns' is left alone.
    uint32_t read(uint32_t interfaceNumber, uint64_t (&columns)[kProcNetDevColumns]) const noexcept;

private:
    int descriptor_;
};

}  // namespace pcsim

#endif
