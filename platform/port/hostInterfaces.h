// How many of the PC's interfaces are ports.
//
// Stored here: the number, 0 until initialisation has counted. It is written once, before any other
// operation, and never follows interfaces that come or go later.
#ifndef PCSIM_PORT_HOSTINTERFACES_H
#define PCSIM_PORT_HOSTINTERFACES_H

#include <stdint.h>

#include "platform/base/export.h"

namespace pcsim {

// The highest number of an interface that is ever counted.
constexpr uint32_t kInterfaceLimit = 100;

}  // namespace pcsim

extern "C" {

// Number of the PC's usable interfaces, eth1 upwards without a gap; 0 until initialised.
PCSIM_EXPORT extern uint32_t pcSimSystemNumPorts;

// Counts the PC's interfaces, at most kInterfaceLimit, with a socket of its own.
PCSIM_EXPORT uint32_t pcSimGetSystemNumberPorts() noexcept;
}

#endif
