// The search for calls whose failure a HAL doesn't bear: one run that counts, then one run for each
// call, in which that call fails.
#ifndef PCSIM_PROBE_SWEEP_H
#define PCSIM_PROBE_SWEEP_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "console/words.h"
#include "probe/trial.h"

namespace pcsim::probe {

struct SweepOptions {
    std::string only;      // names of operations, with wild cards; "": all
    uint32_t every = 1;    // of all calls, the first and then each n-th
    uint32_t calls = 0;    // of each operation, no more than its first calls; 0: all
    uint32_t workers = 1;  // runs at a time
    uint32_t limitMs = 0;  // for one run; 0: ten times what the first took, and five seconds
    bool host = false;     // calls into the HAL fail, too
};

// A call that is made to fail: the how many-th of its operation.
struct CallSite {
    std::string operation;
    uint64_t nth;

    std::string rule() const;
    bool operator==(const CallSite&) const = default;
};

std::vector<CallSite> callSitesOf(const CoverageData& counted, const SweepOptions& options);

struct Finding {
    CallSite site;
    Outcome outcome;
};

struct SweepResult {
    uint64_t calls = 0;  // that were counted
    uint64_t runs = 0;
    uint64_t unmoved = 0;     // ended as the run without a failure
    uint64_t errors = 0;      // ended with another status of their own
    uint64_t notReached = 0;  // made fewer calls than the first run, and ended in order
    std::vector<Finding> found;
    uint64_t left = 0;  // that the search was ended before
};

// Throws a CommandError when the command doesn't end in order by itself. 'progress' hears how many
// runs of how many are over; it returns false to end the search.
SweepResult sweep(const Words& command, const SweepOptions& options,
                  const std::function<bool(size_t done, size_t all)>& progress);

}  // namespace pcsim::probe

#endif
