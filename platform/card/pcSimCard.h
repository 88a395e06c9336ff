// Cards as the HAL lives with them: their life cycle and supervision.
//
// Nothing is stored per card: the states are the HAL's, and each request stands alone. What is
// stored is the presence mask, which module control alone sets, and whether remote I/O is
// simulated. Contracts in pcsim/card.h.
#ifndef PCSIM_CARD_PCSIMCARD_H
#define PCSIM_CARD_PCSIMCARD_H

#include "pcsim/card.h"
#include "platform/base/stub.h"

#endif
