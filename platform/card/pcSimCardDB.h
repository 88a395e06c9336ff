// Cards as the HAL learns about them: the card database, the record and port map of each slot, the
// identity and capability of each card type, and the family's operations.
//
// The slot decides the card: all slots of a stackable are one card, a chassis has I/O cards up to
// slot 8 and management modules above. Port maps are the library's; a slot's map is rewritten each
// time its record is set up and never moves. Contracts in pcsim/card.h, card_slot.h and family.h.
#ifndef PCSIM_CARD_PCSIMCARDDB_H
#define PCSIM_CARD_PCSIMCARDDB_H

#include "pcsim/card.h"
#include "platform/base/stub.h"

extern "C" {

PCSIM_EXPORT int32_t pcSimStackCardDBSetup(HalCardDb* db) noexcept;
PCSIM_EXPORT int32_t pcSimChassisCardDBSetup(HalCardDb* db) noexcept;
PCSIM_EXPORT int32_t pcSimStackCardSlotDBSetup(int32_t slot, HalCardSlotDb* db) noexcept;
PCSIM_EXPORT int32_t pcSimChassisCardSlotDBSetup(int32_t slot, HalCardSlotDb* db) noexcept;

// The card type of a stackable, and of a chassis slot.
PCSIM_EXPORT uint32_t pcSimStackCardGetId() noexcept;
PCSIM_EXPORT uint32_t pcSimChassisCardGetId(int32_t slot) noexcept;

PCSIM_EXPORT int32_t pcSimStackCardGetHwInfo(int32_t slot, HalCardHwInfo* info) noexcept;
PCSIM_EXPORT int32_t pcSimChassisCardGetHwInfo(int32_t slot, HalCardHwInfo* info) noexcept;
PCSIM_EXPORT int32_t pcSimStackCardGetPartInfo(int32_t slot, HalPartInfo* part) noexcept;
PCSIM_EXPORT int32_t pcSimChassisCardGetPartInfo(int32_t slot, HalPartInfo* part) noexcept;
PCSIM_EXPORT int32_t pcSimStackCardGetCPUSubSystemPartInfo(int32_t slot,
                                                           HalPartInfo* part) noexcept;
PCSIM_EXPORT int32_t pcSimChassisCardGetCPUSubSystemPartInfo(int32_t slot,
                                                             HalPartInfo* part) noexcept;

PCSIM_EXPORT HalCardCapability* pcSimCardGetCapability(int32_t slot, const char* name) noexcept;
PCSIM_EXPORT int32_t pcSimCardLinkIntrEnable(int32_t slot, int32_t enable) noexcept;

PCSIM_EXPORT int32_t pcSimFamilyDBSetup(uint32_t family, HalFamilyOps* table) noexcept;

// Mirroring, which the simulation does not model: accepted and ignored, 0.
PCSIM_DECLARE_STUB(pcSimMirEnable)
PCSIM_DECLARE_STUB(pcSimMirCfgPort)
PCSIM_DECLARE_STUB(pcSimMirVlanCfgPort)
PCSIM_DECLARE_STUB(pcSimMirTrunkCfgPort)
}

#endif
