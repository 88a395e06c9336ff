// The text that a printf format and its arguments make.
#ifndef PCSIM_PROBE_VALUES_MESSAGE_H
#define PCSIM_PROBE_VALUES_MESSAGE_H

#include <string>

#include "probe/values/blocks.h"

namespace pcsim::probe {

// What isn't known of it, and pointers, which differ from run to run, are '?'.
std::string messageText(const FormatWords& words, const Memory& memory);

}  // namespace pcsim::probe

#endif
