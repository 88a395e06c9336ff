// What pcsimctl does with an instance.
#ifndef PCSIM_CONSOLE_CTL_COMMANDS_H
#define PCSIM_CONSOLE_CTL_COMMANDS_H

#include "console/ctl/link.h"
#include "console/words.h"

namespace pcsim {

// Each returns the exit status; what goes wrong is a CommandError.
int runLine(Link& link, const Words& words, bool json);
int runScript(Link& link, Signals& signals, bool json);
int runPrompt(Link& link, Signals& signals);
// "[--follow] [--json] [about TEXT]"
int showEvents(Link& link, Words words, bool json);
// "MS LINE..."
int watchLine(Link& link, Signals& signals, const Words& words);
// What may stand in place of the last word, one a line.
int completeWords(Link& link, const Words& words);

// The words of a shell as a line of the console. One that has blanks in it is a word there, too;
// a single one is the line itself.
std::string lineOfShell(const Words& words);

}  // namespace pcsim

#endif
