// Cards as the HAL lives with them: their life cycle and supervision.
//
// Nothing is stored per card: the states are the HAL's, and each request stands alone. What is
// stored is the presence mask, which module control alone sets, and whether remote I/O is
// simulated. Contracts in pcsim/card.h.
#ifndef PCSIM_CARD_PCSIMCARD_H
#define PCSIM_CARD_PCSIMCARD_H

#include "pcsim/card.h"
#include "platform/base/stub.h"

extern "C" {

// Prepares the module; the card-database setup calls it. Always 0.
PCSIM_EXPORT int32_t pcSimInit() noexcept;

PCSIM_EXPORT int32_t pcSimCardInit(int32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardCleanup(int32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardPowerEnable(int32_t slot, int32_t on) noexcept;
PCSIM_EXPORT int32_t pcSimCardRunExtPost(int32_t slot, int32_t maxTimeMs) noexcept;
PCSIM_EXPORT int32_t pcSimCardStartDownload(int32_t slot, const char* image) noexcept;
PCSIM_EXPORT int32_t pcSimCardStartBooting(int32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardPowerOnCheck(int32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardDiagnosticsRun(int32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardDiagnosticsGetResult(int32_t slot,
                                                   HalCardDiagnosticsResult* result) noexcept;

// The delayed report of a card state, run by the host when the delay has passed. 'value' is
// slot << 16 | state; 'argument' is the host's and is handed on. Always 0.
PCSIM_EXPORT int32_t pcSimDelayRelyCallback(uint32_t value, uint32_t argument) noexcept;

PCSIM_EXPORT int32_t pcSimIsCardHwPresent(int32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardReadTemperature(int32_t slot, int32_t* temperature) noexcept;
PCSIM_DECLARE_STUB(pcSimCardInitOdometer)
PCSIM_DECLARE_STUB(pcSimCardSetOdometer)
PCSIM_EXPORT int32_t pcSimCardGetOdometer(int32_t slot, int32_t* odometer) noexcept;
PCSIM_DECLARE_STUB(pcSimCardOptionEnable)
PCSIM_DECLARE_STUB(pcSimCardOffline)
PCSIM_DECLARE_STUB(pcSimCardLEDSet)
PCSIM_EXPORT int32_t pcSimMacIntEnable(int32_t slot, int32_t enable) noexcept;
PCSIM_EXPORT int32_t pcSimMacIntrGetMask(int32_t slot, uint32_t* mask) noexcept;
PCSIM_EXPORT int32_t pcSimCardLinkIntrMask() noexcept;
PCSIM_EXPORT int32_t pcSimCardInternalLinkEnable(int32_t fromSlot, int32_t toSlot,
                                                 int32_t enable) noexcept;
PCSIM_EXPORT int32_t pcSimCardInternalLinkConfigLoadSharing(int32_t fromSlot, int32_t toSlot,
                                                            int32_t mode) noexcept;
}

#endif
