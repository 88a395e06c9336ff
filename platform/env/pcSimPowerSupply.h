// Power supplies: what differs from fans, and the operations of both shapes. The contracts are at
// the operations' types in include/pcsim/env.h.
//
// Nothing is kept but the presence mask; every operation may be called at any time.
#ifndef PCSIM_ENV_PCSIMPOWERSUPPLY_H
#define PCSIM_ENV_PCSIMPOWERSUPPLY_H

#include "pcsim/env.h"
#include "platform/base/export.h"

// clang-format off
extern "C" {
PCSIM_EXPORT uint32_t pcSimIsPowerSupplyPresent(int32_t supply) noexcept;
PCSIM_EXPORT uint32_t pcSimPSGetOdometer(uint32_t slot, uint32_t* out) noexcept;
PCSIM_EXPORT uint32_t pcSimPSInitOdometer(uint32_t slot) noexcept;
PCSIM_EXPORT uint32_t pcSimPSSetOdometer(uint32_t slot, uint32_t value) noexcept;
PCSIM_EXPORT uint32_t pcSimPSReadTemp(uint32_t slot, uint32_t* out) noexcept;
PCSIM_EXPORT uint32_t pcSimStackPSReadInputLine(uint32_t slot, uint32_t* a, uint32_t* b) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisPSReadInputLine(uint32_t slot, uint32_t* a, uint32_t* b) noexcept;
PCSIM_EXPORT uint32_t pcSimStackPSReadOutputLine(uint32_t slot, int32_t line, uint32_t* a, uint32_t* b) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisPSReadOutputLine(uint32_t slot, int32_t line, uint32_t* a, uint32_t* b) noexcept;

PCSIM_EXPORT uint32_t pcSimStackPowerSupplyReadHwInfo(uint32_t slot, HalPowerSupplyHwInfo* info) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisPowerSupplyReadHwInfo(uint32_t slot, HalPowerSupplyHwInfo* info) noexcept;

PCSIM_EXPORT uint32_t pcSimStackPSDBSetup(HalPowerSupplyDb* record) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisPSDBSetup(HalPowerSupplyDb* record) noexcept;
PCSIM_EXPORT uint32_t pcSimStackPSSlotDBSetup(uint32_t slot, HalPSSlotDb* record) noexcept;
PCSIM_EXPORT uint32_t pcSimChassisPSSlotDBSetup(uint32_t slot, HalPSSlotDb* record) noexcept;
}
// clang-format on

#endif
