// The card types, and which slots hold which: what databases, capability, identity and life cycle
// of cards all go by.
#ifndef PCSIM_CARD_CARDTYPES_H
#define PCSIM_CARD_CARDTYPES_H

#include "pcsim/card.h"

namespace pcsim {

struct CardType {
    uint32_t number;  // HAL_CARD_...
    const char* name;
    uint32_t portCount;
};

// The ports of a stackable are the PC's interfaces, at most this many.
constexpr uint32_t kStackPortLimit = 12;

constexpr CardType kCardC256 = {HAL_CARD_C256, "PCSimC256", 256};
constexpr CardType kCardC2 = {HAL_CARD_C2, "PCSimC2", 2};
constexpr CardType kCardManagement = {HAL_CARD_MANAGEMENT, "PCSimMGT", 0};
constexpr CardType kCardStackable = {HAL_CARD_STACKABLE, "PCSimStack", kStackPortLimit};
constexpr CardType kCardC128 = {HAL_CARD_C128, "PCSimC128", 128};

// These slots of a chassis hold I/O cards, the ones above management modules. A management module
// reports nothing about itself.
constexpr int32_t kFirstIoSlot = 1;
constexpr int32_t kLastIoSlot = 8;

}  // namespace pcsim

#endif
