// Fans: what differs from power supplies, and the operations of both shapes. The contracts are at
// the operations' types in include/pcsim/env.h.
//
// Nothing is kept but the presence mask; every operation may be called at any time.
#ifndef PCSIM_ENV_PCSIMFAN_H
#define PCSIM_ENV_PCSIMFAN_H

#include "pcsim/env.h"
#include "platform/base/export.h"

#endif
