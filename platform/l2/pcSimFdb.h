// The forwarding database of the card family: a hash table of fixed size in one block.
//
// The model, the records and the contracts of the operations are in pcsim/l2.h. The block lives
// from init to clean-up and is the library's; every operation is bounded by one hash and one
// bucket of 8 entries, but the dump, which walks the whole block.
#ifndef PCSIM_L2_PCSIMFDB_H
#define PCSIM_L2_PCSIMFDB_H

#include "pcsim/l2.h"
#include "platform/base/stub.h"

// Accepted and ignored: writing a card's own copy, filters in hardware.
// clang-format off
#define PCSIM_FDB_STUBS(STUB) \
    STUB(pcSimCardMacFdbWriteEntry) \
    STUB(pcSimCardMacFdbCheckMacRefresh) \
    STUB(pcSimPCFamFdbFilterAdd) \
    STUB(pcSimPCFamFdbFilterDel) \
    STUB(pcSimPCFamFdbFilterAddIngress) \
    STUB(pcSimPCFamFdbFilterDelIngress) \
    STUB(pcSimPCFamFdbFilterAddEgress) \
    STUB(pcSimPCFamFdbFilterDelEgress) \
    STUB(pcSimPCFamFdbFilterDump)
// clang-format on

#endif
