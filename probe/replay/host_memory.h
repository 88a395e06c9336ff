// The memory of the HAL that was recorded, as far as calls have shown it, made anew: every recorded
// address has its place here, and what lay side by side does so again.
#ifndef PCSIM_PROBE_REPLAY_HOST_MEMORY_H
#define PCSIM_PROBE_REPLAY_HOST_MEMORY_H

#include <cstdint>
#include <memory>
#include <vector>

#include "probe/record/recording.h"

namespace pcsim::probe {

class HostMemory {
public:
    explicit HostMemory(const Recording& recording);

    // The place of a recorded address; null when it isn't one of the HAL's memory.
    uint8_t* at(uint32_t recorded) const;
    // The same, when there are as many bytes.
    uint8_t* at(uint32_t recorded, size_t size) const;

private:
    struct Segment {
        uint32_t begin;
        uint64_t end;
        size_t offset;  // of its first byte in the memory
    };

    const Segment* find(uint32_t recorded) const;

    std::vector<Segment> segments_;
    std::vector<uint8_t> memory_;
};

// Whether the address lies in an exported variable: whoever writes there, it is the library's.
bool isInSymbol(const Recording& recording, uint32_t address);

}  // namespace pcsim::probe

#endif
