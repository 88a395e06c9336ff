// Power over Ethernet. The contracts are at the operations' types in include/pcsim/misc.h.
#ifndef PCSIM_MISC_PCSIMPOE_H
#define PCSIM_MISC_PCSIMPOE_H

#include "pcsim/misc.h"
#include "platform/base/stub.h"

// clang-format off
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
// clang-format on

#endif
