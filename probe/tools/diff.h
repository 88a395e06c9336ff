// What is different between two recordings.
#ifndef PCSIM_PROBE_TOOLS_DIFF_H
#define PCSIM_PROBE_TOOLS_DIFF_H

#include <vector>

#include "probe/tools/compare.h"

namespace pcsim::probe {

// Those of the first call that differs; with 'keepGoing' of all, calls that only one of them has
// are left out where that makes the rest agree.
std::vector<RunDifference> differencesOf(const Recording& first, const Recording& second,
                                         bool keepGoing);

}  // namespace pcsim::probe

#endif
