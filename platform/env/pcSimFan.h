// Fans: what differs from power supplies, and the operations of both shapes. The contracts are at
// the operations' types in include/pcsim/env.h.
//
// Nothing is kept but the presence mask; every operation may be called at any time.
#ifndef PCSIM_ENV_PCSIMFAN_H
#define PCSIM_ENV_PCSIMFAN_H

#include "pcsim/env.h"
#include "platform/base/export.h"

// clang-format off
extern "C" {
PCSIM_EXPORT uint32_t pcSimIsFanPresent(int32_t fan) noexcept;
PCSIM_EXPORT uint32_t pcSimFanGetOdometer(uint32_t slot, uint32_t* out) noexcept;
PCSIM_EXPORT uint32_t pcSimStackFanReadRpm(uint32_t slot, uint32_t fan, uint32_t* out) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisFanReadRpm(uint32_t slot, uint32_t fan, uint32_t* out) noexcept;
PCSIM_EXPORT uint32_t pcSimFanReadTemp(uint32_t slot, uint32_t* out) noexcept;
PCSIM_EXPORT uint32_t pcSimFanSetSpeed(int32_t fan, int32_t slot, int32_t percent) noexcept;
PCSIM_EXPORT uint32_t pcSimFanSetOdometer(int32_t slot, int32_t value) noexcept;
PCSIM_EXPORT uint32_t pcSimFanInitOdometer(int32_t slot) noexcept;

PCSIM_EXPORT uint32_t pcSimStackFanGetPartInfo(uint32_t number, HalPartInfo* info) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisFanGetPartInfo(uint32_t number, HalPartInfo* info) noexcept;
PCSIM_EXPORT uint32_t pcSimStackFanReadHwInfo(uint32_t number, HalFanHwInfo* info) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisFanReadHwInfo(uint32_t number, HalFanHwInfo* info) noexcept;

PCSIM_EXPORT uint32_t pcSimStackFanDBSetup(HalFanDb* record) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisFanDBSetup(HalFanDb* record) noexcept;
PCSIM_EXPORT uint32_t pcSimStackFanSlotDBSetup(uint32_t slot, HalFanSlotDb* record) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisFanSlotDBSetup(uint32_t slot, HalFanSlotDb* record) noexcept;
}
// clang-format on

#endif
