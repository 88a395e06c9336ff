// How loads and saves of a file end. Some bad lines are no failure: they are reported and the
// others are loaded. A load that came to nothing, or to a part of its file, is one, after its
// report.
#ifndef PCSIM_HOST_VERBS_LOAD_ANSWER_H
#define PCSIM_HOST_VERBS_LOAD_ANSWER_H

#include <cstdint>

#include "console/report.h"
#include "host/core/line_load.h"
#include "host/verbs/host_verbs.h"

namespace pcsim::host {

// The first bad lines, and how many there are.
Table badLineTable(const LineLoad& file);

// The answer of a load that is a 'show': its report, and the bad lines when there are any. When the
// load has failed, the answer is given first and then a CommandError thrown. 'used' counts lines,
// or what was made of them.
Report loadAnswer(Call& call, Report report, const LineLoad& file, uint64_t used);

// The answer of what has written a file: how many there are of what it holds.
Report savedAnswer(const std::string& path, const char* key, const char* title, uint64_t count);

}  // namespace pcsim::host

#endif
