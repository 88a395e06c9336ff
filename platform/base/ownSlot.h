// The slot that the running system occupies, which several subsystems compare others with.
//
// Stored here: the shape, stackable until initialised as a chassis. Initialisation sets it once,
// before any other operation; afterwards it is read alone, from any context.
#ifndef PCSIM_BASE_OWNSLOT_H
#define PCSIM_BASE_OWNSLOT_H

#include "pcsim/system.h"

namespace pcsim {

// The slot that a chassis occupies when nobody has told it.
constexpr int32_t kChassisOwnSlot = 9;

// Whether the system is a chassis; for the initialisation.
void setShape(bool chassis) noexcept;

}  // namespace pcsim

#endif
