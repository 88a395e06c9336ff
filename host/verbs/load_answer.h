// How a load of a file ends. Some bad lines are no failure: they are reported and the others are
// loaded. A load that came to nothing, or to a part of its file, is one, after its report.
#ifndef PCSIM_HOST_VERBS_LOAD_ANSWER_H
#define PCSIM_HOST_VERBS_LOAD_ANSWER_H

#include <cstdint>
#include <string>

#include "console/verbs.h"

namespace pcsim::host {

struct LoadOutcome {
    std::string path;
    uint64_t used = 0;  // lines, or what was made of them
    uint64_t badLines = 0;
    std::string fileProblem;  // why its rest was not read
};

// The line with which the load fails, or nothing.
std::string loadProblem(const LoadOutcome& outcome);

// The answer of a load that is a 'show'; when it fails, what there is to report is printed first.
Report loadAnswer(Call& call, Report report, const LoadOutcome& outcome);

}  // namespace pcsim::host

#endif
