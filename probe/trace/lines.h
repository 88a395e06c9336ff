// The texts of a call in a trace: as it begins, and what it has answered.
#ifndef PCSIM_PROBE_TRACE_LINES_H
#define PCSIM_PROBE_TRACE_LINES_H

#include <string>

#include "probe/boundary/call.h"
#include "probe/trace/trace.h"

namespace pcsim::probe {

// "pcSimFanReadTemp slot 1"
std::string callText(const Call& call);
// " -> 0 out 2501"
std::string answerText(const Call& call);

// Whether a call has the ports and slots that are asked for.
bool wantsCall(const TraceFilter& filter, const Call& call);

}  // namespace pcsim::probe

#endif
