// Loading the MAC table from a text file, a line (mac_line.h) per address. A line that can't be
// read or loaded is reported with its number, and the rest is loaded.
#ifndef PCSIM_HOST_L2_FDB_LOAD_H
#define PCSIM_HOST_L2_FDB_LOAD_H

#include <cstdint>
#include <string>
#include <vector>

namespace pcsim::host {

class Machine;

struct FdbLoadResult {
    struct BadLine {
        uint64_t number;
        std::string problem;
    };
    uint64_t lines = 0;  // with an address, good or bad
    uint64_t added = 0, refreshed = 0, moved = 0, staticKept = 0, evicted = 0;
    uint64_t vlansMade = 0, membersMade = 0;
    std::vector<BadLine> bad;
    std::string fileProblem;  // why its rest was not read

    uint64_t used() const { return added + refreshed + moved + staticKept; }
};

// Loads 'path'; with 'makeVlans' VLANs and memberships that are missing are made on the way.
// Throws a CommandError when the file can't be read.
FdbLoadResult loadMacTable(Machine& machine, const std::string& path, bool makeVlans);

}  // namespace pcsim::host

#endif
