// Loading a full IPv4 table through the library's operations, with and without the probe.
#ifndef PCSIM_BENCH_PROBE_LOAD_H
#define PCSIM_BENCH_PROBE_LOAD_H

namespace pcsim::bench {

// Loads and empties the table 'rounds' times each way and prints the medians. False when a load
// didn't store what it was given, or a call wasn't counted.
bool measureLoads(int rounds);

}  // namespace pcsim::bench

#endif
