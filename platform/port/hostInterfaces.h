// How many of the PC's interfaces are ports.
//
// Stored here: the number, 0 until initialisation has counted. It is written once, before any other
// operation, and never follows interfaces that come or go later.
#ifndef PCSIM_PORT_HOSTINTERFACES_H
#define PCSIM_PORT_HOSTINTERFACES_H

#include "pcsim/system.h"

namespace pcsim {

// The highest number of an interface that is ever counted.
constexpr uint32_t kInterfaceLimit = 100;

}  // namespace pcsim

#endif
