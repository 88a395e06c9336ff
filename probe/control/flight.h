// The flight recorder: the last calls of both directions, in the control block. They survive
// whatever becomes of the process, because the memory is a file's.
//
// A call's entry is its place in the ring by the call's number, so a call that took longer than the
// ring lasts is found among the open ones alone. What lies behind a call's pointers is kept as far
// as an entry has room.
#ifndef PCSIM_PROBE_CONTROL_FLIGHT_H
#define PCSIM_PROBE_CONTROL_FLIGHT_H

#include <vector>

#include "probe/boundary/call.h"
#include "probe/control/block.h"
#include "probe/control/blocks.h"
#include "probe/values/memory.h"

namespace pcsim::probe {

class FlightRecorder final : public Observer {
public:
    // The block must outlive it. With 'tree' calls of the ordered tree are kept, too. In a child
    // that the process forks, nothing is.
    FlightRecorder(BlockHeader& block, bool tree);

    bool wants(const Site& site) const override;
    void before(Call& call) override;
    void after(Call& call) override;

private:
    FlightEntry& entryOf(const Call& call) const;
    OpenCall& openOf(uint32_t thread, uint32_t depth) const;

    BlockHeader& block_;
    bool tree_;
};

// The memory of a kept call, as it was on one side of it.
class KeptMemory final : public Memory {
public:
    // Of the call's beginning, or as it was changed by its end.
    KeptMemory(const FlightEntry& entry, bool after);

    const void* at(uint32_t address, uint32_t bytes, bool certain) const override;
    uint32_t textBytes(uint32_t address, uint32_t limit, bool certain) const override;

private:
    struct Piece {
        uint32_t address;
        uint32_t bytes;
        const uint8_t* content;
    };
    void collect(const FlightEntry& entry, uint32_t side);
    const Piece* pieceAt(uint32_t address) const;

    std::vector<Piece> pieces_;  // the newest first
};

// The kept calls in the order in which they began, and of each thread the calls that were under way
// when the block was read, the outer before the inner.
struct Flight {
    std::vector<const FlightEntry*> calls;
    std::vector<std::vector<const OpenCall*>> open;
};
Flight flightIn(const BlockCopy& block);

}  // namespace pcsim::probe

#endif
