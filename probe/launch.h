// Starting a program with the probe in it.
#ifndef PCSIM_PROBE_LAUNCH_H
#define PCSIM_PROBE_LAUNCH_H

#include <string>
#include <vector>

#include "console/words.h"
#include "probe/control/options.h"

namespace pcsim::probe {

// The library beside this program, as in a build directory, or in the libraries' folder of the tree
// that both are installed in. Throws a CommandError when it is in neither.
std::string probeLibrary();

// What is set in the environment of a program so that the probe is in it.
void setUpEnvironment(const ProbeOptions& options);

// Becomes the program; with a flight recorder stays as its parent instead, which passes signals on,
// notes how it ended and ends the same way. Returns the status to end with when it couldn't be
// started, and says why.
int launch(const ProbeOptions& options, const Words& command);

}  // namespace pcsim::probe

#endif
