// Loading the MAC table from a text file, a line (mac_line.h) per address.
#ifndef PCSIM_HOST_L2_FDB_LOAD_H
#define PCSIM_HOST_L2_FDB_LOAD_H

#include <cstdint>
#include <string>

#include "console/output_file.h"
#include "host/core/line_load.h"
#include "host/l2/l2_manager.h"

namespace pcsim::host {

struct FdbLoad {
    explicit FdbLoad(std::string path) : file(std::move(path)) {}

    LineLoad file;
    uint64_t lines = 0;  // with an address, good or bad
    uint64_t added = 0, refreshed = 0, moved = 0, staticKept = 0, evicted = 0;
    uint64_t vlansMade = 0, membersMade = 0;

    uint64_t used() const { return added + refreshed + moved + staticKept; }
};

// Loads 'path'; with 'makeVlans' VLANs and memberships that are missing are made on the way.
// Throws a CommandError when the file can't be opened.
FdbLoad loadMacTable(Context& context, L2Manager& l2, const std::string& path, bool makeVlans);

// Writes all addresses as a file that loadMacTable() reads. How many there are.
uint64_t saveMacTable(L2Manager& l2, OutputFile& file, const Surroundings& surroundings);

}  // namespace pcsim::host

#endif
