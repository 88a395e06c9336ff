// The commands of pcsim-probe. Each reads its own options by a table of its own and answers on
// standard output; what goes wrong is thrown: an OptionProblem for a command line that is wrong
// (the program ends with 2), a CommandError for everything else (it ends with 1).
#ifndef PCSIM_PROBE_COMMANDS_H
#define PCSIM_PROBE_COMMANDS_H

#include <span>
#include <string>

#include "console/report.h"
#include "console/words.h"
#include "lab/options.h"

namespace pcsim::probe {

// What stands behind the command's name; the status that the program ends with.
using CommandFn = int(const Words& words);

CommandFn coverageCommand;
CommandFn listCommand;
CommandFn postMortemCommand;
CommandFn replayCommand;
CommandFn sweepCommand;

// 'pcsim-probe NAME ...': the words behind go to the process of that name or id.
int controlCommand(const std::string& nameOrPid, const Words& words);

// Reads a command's options: 'name' is what stands in front of them in messages and in the help.
GivenOptions readCommand(const Program& program, const Words& words);
// The same of a command whose options may stand between its words.
GivenOptions readAnywhere(const Program& program, const Words& words);

// Both throw a CommandError when standard output can't be written.
void print(const std::string& text);
void print(const Report& report, bool json);

}  // namespace pcsim::probe

#endif
