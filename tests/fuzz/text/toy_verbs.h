// A few verbs of all forms that a pattern can have, over a switch of three ports that does nothing:
// for fuzzers of the language, which know no verb of the host.
#ifndef PCSIM_TESTS_FUZZ_TEXT_TOY_VERBS_H
#define PCSIM_TESTS_FUZZ_TEXT_TOY_VERBS_H

#include "console/console.h"

namespace pcsim::fuzz {

// Registers them, and what completes their values.
void addToyVerbs(Console& console);

// Forms alone, whose values and beginnings meet in every way; what they do is nothing.
void addForms(Console& console);

}  // namespace pcsim::fuzz

#endif
