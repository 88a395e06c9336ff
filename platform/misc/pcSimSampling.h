// Packet sampling. The contracts are at the operations' types in include/pcsim/misc.h.
#ifndef PCSIM_MISC_PCSIMSAMPLING_H
#define PCSIM_MISC_PCSIMSAMPLING_H

#include "pcsim/misc.h"
#include "platform/base/export.h"

#endif
