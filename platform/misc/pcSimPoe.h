// Power over Ethernet. The contracts are at the operations' types in include/pcsim/misc.h.
#ifndef PCSIM_MISC_PCSIMPOE_H
#define PCSIM_MISC_PCSIMPOE_H

#include "pcsim/misc.h"
#include "platform/base/stub.h"

// clang-format off
extern "C" {
PCSIM_EXPORT int32_t pcSimCardPoeGetVersion(uint32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardPoeSNMPGetSlotInfo(uint32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardPoeSNMPGetPortInfo(uint32_t port) noexcept;
PCSIM_EXPORT int32_t pcSimCardPoePortInfo(uint32_t port) noexcept;
PCSIM_EXPORT int32_t pcSimCardPoeGetPortDetails(uint32_t port, uint32_t value) noexcept;

// Accepted and ignored, whatever the arguments: 0.
#define PCSIM_POE_STUBS(STUB)            \
    STUB(pcSimCardPoeSlotEnable)         \
    STUB(pcSimCardPoeSlotDisable)        \
    STUB(pcSimCardPoeSlotEnableLegacy)   \
    STUB(pcSimCardPoeSlotDisableLegacy)  \
    STUB(pcSimCardPoeSetUsageThreshold)  \
    STUB(pcSimCardPoeSetDisconnectMode)  \
    STUB(pcSimCardPoeSetPowerSlot)       \
    STUB(pcSimCardPoePortEnable)         \
    STUB(pcSimCardPoePortDisable)        \
    STUB(pcSimCardPoeGetPortState)       \
    STUB(pcSimCardPoeSetPortValue)
PCSIM_POE_STUBS(PCSIM_DECLARE_STUB)
}
// clang-format on

#endif
