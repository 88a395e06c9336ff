// Control blocks from outside: which there are, what stands in one, asking its process for
// something. None of it needs the process's help but ask().
#ifndef PCSIM_PROBE_CONTROL_BLOCKS_H
#define PCSIM_PROBE_CONTROL_BLOCKS_H

#include <string>
#include <vector>

#include "probe/control/block.h"
#include "probe/control/own_block.h"

namespace pcsim::probe {

// What a block was at the moment when it was read. A copy: it doesn't change under its reader.
class BlockCopy {
public:
    enum Extent { kWhole, kAbout };  // all of it, or what it is about: the header up to its calls

    // Throws a CommandError that says why when the file is no block, or of another version.
    explicit BlockCopy(const std::string& path, Extent extent = kWhole);

    const BlockHeader& header() const { return *reinterpret_cast<const BlockHeader*>(&words_[0]); }
    const SiteRow* sites() const { return sitesOf(&header()); }
    uint32_t siteCount() const;
    const FlightEntry* flight() const { return flightOf(&header()); }
    bool runs() const;  // its process does

    const std::string& path() const { return path_; }
    std::string name() const;
    std::string program() const;
    std::string library() const;

private:
    std::string path_;
    std::vector<uint64_t> words_;
};

// Throws a CommandError when a block can't be called that: names are words that are no process id,
// and no part of a path.
void checkBlockName(const std::string& name);

// What all blocks of the folder are about, by name; files that are none are passed over.
std::vector<BlockCopy> blocksIn(const std::string& folder);
// The block of a name or a process id. Throws a CommandError that says which there are.
BlockCopy blockOf(const std::string& folder, const std::string& nameOrPid);
// Whether the process of this block runs; a file that is no block is nobody's.
bool blockRuns(const std::string& path);
// Removes blocks of processes that have ended; of those with a flight recorder the last 16 stay.
void removeStaleBlocks(const std::string& folder);

// Has the process of a block answer a request, with its next call across the boundary. Throws a
// CommandError when it makes none within the time, or ends.
Answer ask(const BlockCopy& block, const std::string& request, uint32_t waitMs);

// Notes what the process of a block left when it ended, as wait() tells it.
void noteEnd(const std::string& path, int waitStatus);

}  // namespace pcsim::probe

#endif
