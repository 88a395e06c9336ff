// 'help': all verbs, those with a word in them, or those that begin with some words.
#ifndef PCSIM_CONSOLE_HELP_H
#define PCSIM_CONSOLE_HELP_H

#include <string>

#include "console/verbs.h"

namespace pcsim {

// Each at most 'width' columns wide.
std::string helpText(const Verbs& verbs, size_t width = kTerminalWidth);
std::string helpAbout(const Verbs& verbs, const std::string& word, size_t width = kTerminalWidth);
std::string helpOf(const Verbs& verbs, const std::string& beginning, size_t width = kTerminalWidth);

// The verbs as data, for what makes manuals.
Report verbsReport(const Verbs& verbs);

}  // namespace pcsim

#endif
