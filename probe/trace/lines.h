// The texts of a call in a trace: as it begins, and what it has answered.
#ifndef PCSIM_PROBE_TRACE_LINES_H
#define PCSIM_PROBE_TRACE_LINES_H

#include <string>

#include "probe/boundary/call.h"
#include "probe/values/handles.h"

namespace pcsim::probe {

// "pcSimFanReadTemp slot 1"
std::string callText(const Call& call, Handles& handles);
// " -> 0 out 2501"; "" where nothing comes back.
std::string answerText(const Call& call, Handles& handles);

// A port or a slot, as calls have them.
struct Place {
    uint32_t slot;
    bool isPort;
    uint32_t port;
};

// Whether the place is among the values that go in: as a port, as a slot, or the slot of a port.
bool isAbout(const Call& call, const Place& place);

}  // namespace pcsim::probe

#endif
