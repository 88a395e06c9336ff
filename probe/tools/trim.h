// A part of a recording that stands on its own.
#ifndef PCSIM_PROBE_TOOLS_TRIM_H
#define PCSIM_PROBE_TOOLS_TRIM_H

#include "probe/record/recording.h"
#include "probe/tools/selection.h"

namespace pcsim::probe {

// The selected calls with what stands around them and what they need. No events when nothing is
// selected.
Recording trimmed(const Recording& recording, const Selection& selection);

}  // namespace pcsim::probe

#endif
