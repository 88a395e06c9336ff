// Packet sampling: made-up counters that grow with every read, whatever the port.
#include "platform/misc/pcSimSampling.h"

#include <stdio.h>

PCSIM_EXPORT int32_t sampleFrames = 0;
PCSIM_EXPORT int32_t sampleCount = 0;
PCSIM_EXPORT int32_t samplePool = 0;

namespace pcsim {
namespace {

// The counters wrap.
void advance(int32_t& counter, uint32_t step) noexcept {
    counter = static_cast<int32_t>(static_cast<uint32_t>(counter) + step);
}

// A counter in a 64-bit field, with its sign.
uint64_t extended(int32_t counter) noexcept {
    return static_cast<uint64_t>(int64_t{counter});
}

}  // namespace
}  // namespace pcsim

// The blank behind the newline of the texts is what operators' scripts expect.

int32_t pcSimAllocSampleBin() noexcept {
    printf("Called %s \n ", "pcSimAllocSampleBin");
    return 0;
}

int32_t pcSimSFLOWAddPortsForSample(uint32_t, const HalSamplePort* port) noexcept {
    printf("Called %s %d:%d \n ", "pcSimSFLOWAddPortsForSample", port->slot, port->port);
    return 0;
}

int32_t pcSimSFLOWDelPortsForSample(uint32_t, const HalSamplePort* port) noexcept {
    printf("Called %s %d:%d\n ", "pcSimSFLOWDelPortsForSample", port->slot, port->port);
    return 0;
}

int32_t pcSimSFLOWGetCntSampleOnPort(uint32_t, HalSampleCounters* record) noexcept {
    pcsim::advance(sampleFrames, 100);
    pcsim::advance(sampleCount, 50);
    pcsim::advance(samplePool, 10);
    const uint64_t frames = pcsim::extended(sampleFrames);
    const uint64_t count = pcsim::extended(sampleCount);
    const uint64_t pool = pcsim::extended(samplePool);
    *record = {.bytes = 8 * frames,
               .frames8 = frames,
               .count16 = count,
               .pool24 = pool,
               .reserved32 = {},
               .frames64 = frames,
               .count72 = count,
               .pool80 = pool,
               .reserved88 = {}};
    printf("Called %s \n ", "pcSimSFLOWGetCntSampleOnPort");
    return 0;
}
