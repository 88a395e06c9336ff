// What the probe does in a process that it is preloaded into, from the process's start to its end.
#ifndef PCSIM_PROBE_PRELOAD_SESSION_H
#define PCSIM_PROBE_PRELOAD_SESSION_H

namespace pcsim::probe {

// Before anything of the program runs, and before a library is searched for. 'options' is the value
// of PCSIM_PROBE, which lives as long as the process.
void beginSession(const char* options);

// When the process ends by exit or by returning from main. Not in processes that it has forked.
void endSession();

}  // namespace pcsim::probe

#endif
