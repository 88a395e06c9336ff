// Packet sampling. The contracts are at the operations' types in include/pcsim/misc.h.
#ifndef PCSIM_MISC_PCSIMSAMPLING_H
#define PCSIM_MISC_PCSIMSAMPLING_H

#include "pcsim/misc.h"
#include "platform/base/export.h"

// clang-format off
extern "C" {
PCSIM_EXPORT int32_t pcSimAllocSampleBin() noexcept;
PCSIM_EXPORT int32_t pcSimSFLOWAddPortsForSample(uint32_t ignored, const HalSamplePort* port) noexcept;
PCSIM_EXPORT int32_t pcSimSFLOWDelPortsForSample(uint32_t ignored, const HalSamplePort* port) noexcept;
PCSIM_EXPORT int32_t pcSimSFLOWGetCntSampleOnPort(uint32_t port, HalSampleCounters* record) noexcept;
}
// clang-format on

#endif
