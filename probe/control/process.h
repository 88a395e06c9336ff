// Processes by their id: whether one still runs, also when its id has been given to another since.
#ifndef PCSIM_PROBE_CONTROL_PROCESS_H
#define PCSIM_PROBE_CONTROL_PROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace pcsim::probe {

// When a process was started, in clock ticks since the machine was; 0 when there is none, or when
// it has ended and is only waited for. Together with its id it names a process for good.
uint64_t startOf(pid_t pid);

// Of a line as in /proc/PID/stat; 0 when it is none or tells of a process that has ended.
uint64_t startIn(const std::string& line);

}  // namespace pcsim::probe

#endif
