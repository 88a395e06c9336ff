// The operations of a slot record, for the setups of both shapes.
#ifndef PCSIM_CARD_CARDSLOTOPS_H
#define PCSIM_CARD_CARDSLOTOPS_H

#include "pcsim/card_slot.h"

namespace pcsim {

extern const HalCardSlotOps kStackCardSlotOps;
extern const HalCardSlotOps kChassisCardSlotOps;

}  // namespace pcsim

#endif
