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

#endif
