// The forwarding database of the card family: a hash table of fixed size in one block.
//
// The model, the records and the contracts of the operations are in pcsim/l2.h. The block lives
// from init to clean-up and is the library's; every operation is bounded by one hash and one
// bucket of 8 entries, but the dump, which walks the whole block.
#ifndef PCSIM_L2_PCSIMFDB_H
#define PCSIM_L2_PCSIMFDB_H

#include "pcsim/l2.h"
#include "platform/base/stub.h"

extern "C" {

// The block of HAL_FDB_ENTRIES entries; null before the init and after one that failed.
PCSIM_EXPORT extern HalFdbEntry* pcSimFdbTable;

// CRC-16/ARC of the 6 bytes at 'mac'. XORed with the VLAN id it is the number of a bucket.
PCSIM_EXPORT uint32_t pcSimFdbHash(const uint8_t* mac) noexcept;

PCSIM_EXPORT int32_t pcSimPCFamFdbInit(HalFdbEntry** table) noexcept;
PCSIM_EXPORT int32_t pcSimPCFamFdbCleanup() noexcept;
PCSIM_EXPORT int32_t pcSimPCFamFdbMacLookup(uint32_t* handle, const uint8_t* mac,
                                            const HalVlanIf* vlanIf) noexcept;
PCSIM_EXPORT int32_t pcSimPCFamFdbAllocEntry(uint32_t* handle, HalFdbEntry** slot,
                                             const HalFdbKey* key) noexcept;
PCSIM_EXPORT int32_t pcSimPCFamFdbDeleteEntry(HalFdbEntry* slot) noexcept;
PCSIM_EXPORT int32_t pcSimPCFamFdbAddEntry(void* ignored, uint32_t handle, HalFdbEntry* slot,
                                           const HalFdbRecord* record) noexcept;
PCSIM_EXPORT int32_t pcSimPCFamFdbReadEntry(HalFdbEntry* const* slot,
                                            HalFdbRecord* record) noexcept;
PCSIM_EXPORT int32_t pcSimPCFamFdbFlush(uint32_t unused1, uint32_t unused2,
                                        HalCompletionFn* callback, uint32_t argument1,
                                        uint32_t argument2) noexcept;
PCSIM_EXPORT int32_t pcSimPCFamFdbDump(const pcSimDumpSink* sink) noexcept;

// The task that a flush schedules: runs the registered callback and returns its result, 0 when
// there is none.
PCSIM_EXPORT int32_t pcSimFlushCallback(uint32_t argument1, uint32_t argument2) noexcept;

PCSIM_EXPORT int32_t pcSimCardFdbInit(int32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardFdbCleanup(int32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimCardFdbSyncHw(int32_t slot) noexcept;

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

PCSIM_FDB_STUBS(PCSIM_DECLARE_STUB)
}

#endif
