// The commands of pcsim-probe that work on recordings. Each takes the words behind its name and
// returns the status that the program ends with; a command line that is wrong is an OptionProblem,
// everything else that can't be done a CommandError.
#ifndef PCSIM_PROBE_TOOLS_TOOLS_H
#define PCSIM_PROBE_TOOLS_TOOLS_H

#include "console/words.h"

namespace pcsim::probe {

int showCommand(const Words& words);
int diffCommand(const Words& words);
int trimCommand(const Words& words);
int minimiseCommand(const Words& words);
int exportCommand(const Words& words);

}  // namespace pcsim::probe

#endif
