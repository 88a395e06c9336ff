// The platform frame: entry point, initialisation, the poll of the management link, and the system
// table.
//
// Stored here: the management link state last reported. Initialisation runs once, before any other
// operation, and nothing of it is ever torn down; from then on only the management-link poll
// writes, on the host's timer context. There is one link flag for the whole library. Contracts in
// pcsim/system.h.
#ifndef PCSIM_SYSTEM_PCSIMSYSTEM_H
#define PCSIM_SYSTEM_PCSIMSYSTEM_H

#include "pcsim/system.h"
#include "platform/base/stub.h"

#endif
