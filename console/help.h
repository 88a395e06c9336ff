// 'help': all verbs, those with a word in them, or those that begin with some words.
#ifndef PCSIM_CONSOLE_HELP_H
#define PCSIM_CONSOLE_HELP_H

#include <string>

#include "console/verbs.h"

namespace pcsim {

std::string helpText(const Verbs& verbs);
std::string helpAbout(const Verbs& verbs, const std::string& word);
std::string helpOf(const Verbs& verbs, const std::string& beginning);

}  // namespace pcsim

#endif
