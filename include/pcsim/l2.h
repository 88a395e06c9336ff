/* Layer 2: the forwarding database (FDB) of the card family, and the operations by which the HAL
 * tells the platform of VLANs, ports and memberships.
 *
 * The FDB is one block of 65,536 buckets of 8 entries, zeroed when it is made. An address belongs
 * to the bucket CRC-16/ARC(mac) XOR VLAN id, and nowhere else: a bucket that is full gives one of
 * its entries away. Entries are never moved, so a pointer to one (a slot) stays good until the
 * clean-up. The HAL allocates a slot, fills it, and keeps slot and handle in its own record; the
 * platform allocates nothing per entry.
 *
 * A hardware handle is a 4-byte block that the platform makes for each vlanIf, pif and vpif. The
 * HAL stores the pointer and hands it back on delete, which frees it.
 *
 * Thread: any of the HAL's, one call into the forwarding database at a time and one into the VLANs;
 * completions run in its task context. */
#ifndef PCSIM_L2_H
#define PCSIM_L2_H

#include "pcsim/base.h"
#include "pcsim/dump_sink.h"
#include "pcsim/host.h"
#include "pcsim/host_records.h"

PCSIM_BEGIN_DECLS

/* --- Records ---------------------------------------------------------------------------------- */

#define HAL_FDB_BUCKETS 65536u
#define HAL_FDB_BUCKET_ENTRIES 8u
#define HAL_FDB_ENTRIES (HAL_FDB_BUCKETS * HAL_FDB_BUCKET_ENTRIES)
#define HAL_MAC_LENGTH 6u

#define HAL_FDB_NOT_INITIALISED (-17)
#define HAL_FDB_UNKNOWN_VLAN (-19)
#define HAL_FDB_OUT_OF_MEMORY (-33)

/* One entry of the table. Entry i of the table is entry i & 7 of bucket i >> 3. */
typedef struct PCSIM_IS(platform) HalFdbEntry {
    uint32_t handle;                           /* 0: the HAL's handle, non-zero while in use */
    HalVlanInstance vlanInstance;              /* 4 */
    uint32_t valueA;                           /* 8: the HAL's, returned unchanged */
    uint32_t valueB;                           /* 12: the HAL's, returned unchanged */
    HalPortInstance port;                      /* 16 */
    PCSIM_IS(mac) uint8_t mac[HAL_MAC_LENGTH]; /* 20 */
    uint8_t inUse;                             /* 26: 1 in use, 0 free */
    uint8_t reserved27;                        /* 27: zero */
} HalFdbEntry;

/* What an entry is found by. A record of the HAL begins with one. 10 bytes are read. */
typedef struct HalFdbKey {
    HalVlanInstance vlanInstance;              /* 0 */
    PCSIM_IS(mac) uint8_t mac[HAL_MAC_LENGTH]; /* 4 */
} HalFdbKey;

/* The HAL's record of one address, as far as the platform knows it. */
typedef struct HalFdbRecord {
    HalVlanInstance vlanInstance;              /* 0 */
    PCSIM_IS(mac) uint8_t mac[HAL_MAC_LENGTH]; /* 4 */
    uint8_t reserved10[18];
    uint32_t valueA; /* 28 */
    uint32_t valueB; /* 32 */
    uint8_t reserved36[4];
    HalPortInstance port; /* 40 */
} HalFdbRecord;

/* Bit of HalProtocolFilter.flags148: frames of the protocol are tagged. */
#define HAL_PROTOCOL_FILTER_TAGGED 0x01u

/* The HAL's record of a protocol filter on a port, as far as the platform reads it. */
typedef struct HalProtocolFilter {
    uint8_t reserved0[148];
    PCSIM_IS(hex) uint8_t flags148; /* 148 */
} HalProtocolFilter;

/* --- Forwarding database: family operations --------------------------------------------------- */

/* Makes the table, zeroed, and stores it in '*table' as well as in the exported pcSimFdbTable.
 * Called once, when the family comes up; a second call without a clean-up makes another table and
 * frees nothing. 0; HAL_FDB_OUT_OF_MEMORY leaves pcSimFdbTable null and '*table' as it was.
 * Live. */
typedef int32_t HalFdbInitFn(PCSIM_IS(out, new) HalFdbEntry** table);

/* Frees the table. pcSimFdbTable keeps its old value, so no operation on the table may follow but
 * another init. 0. Live. */
typedef int32_t HalFdbCleanupFn(void);

/* Stores the handle of the entry in use that holds 'mac' (6 bytes) in the VLAN of 'vlanIf' in
 * '*handle'. 0; -1 when there is none, HAL_FDB_NOT_INITIALISED before the init, and then '*handle'
 * stays as it was. An entry in use with handle 0 that the search meets stops the process. Live. */
typedef int32_t HalFdbMacLookupFn(PCSIM_IS(out) uint32_t* handle,
                                  PCSIM_IS(mac, elements 6) const uint8_t* mac,
                                  const HalVlanIf* vlanIf);

/* Finds the slot for 'key', in this order: the entry that holds it already, with its handle in
 * '*handle'; the bucket's first free entry, with 0; a random one of the bucket's 8, with the handle
 * of the address that it holds and that the HAL is to retire. Nothing is written to the slot; the
 * HAL adds next. Asks getVlanIfByInstance once. 0; HAL_FDB_UNKNOWN_VLAN when the HAL does not know
 * the instance, else HAL_FDB_NOT_INITIALISED before the init, and then nothing is stored. An entry
 * in use with handle 0 that the search meets stops the process. Live but for the entry that a full
 * bucket gives away, which is simulated. */
typedef int32_t HalFdbAllocEntryFn(PCSIM_IS(out) uint32_t* handle, PCSIM_IS(out) HalFdbEntry** slot,
                                   const HalFdbKey* key);

/* Frees 'slot' by zeroing its 28 bytes. 0; -1 when it is null. Not checked to lie in the table.
 * Live. */
typedef int32_t HalFdbDeleteEntryFn(PCSIM_IS(null) HalFdbEntry* slot);

/* Fills 'slot' from 'record' and marks it in use under 'handle' (non-zero). 'ignored' may be null.
 * 0; -1 when 'slot' or 'record' is null or 'handle' is 0, and then nothing is written. Live. */
typedef int32_t HalFdbAddEntryFn(PCSIM_IS(ignored) void* ignored, uint32_t handle,
                                 PCSIM_IS(null) HalFdbEntry* slot,
                                 PCSIM_IS(null) const HalFdbRecord* record);

/* Copies VLAN instance, values A and B and address of '*slot' to 'record'; the port is not copied
 * and the rest of the record stays. 0; -1 when a pointer is null. Live. */
typedef int32_t HalFdbReadEntryFn(PCSIM_IS(null) HalFdbEntry* const* slot,
                                  PCSIM_IS(out, null) HalFdbRecord* record);

/* Acknowledges a flush: removes nothing, and has 'callback' run as a task (delay 100, in the unit
 * of halScheduleTask, which is the host's) with the two arguments and two zeros. The first callback
 * stays registered for the life of the library; another one is refused with a message on standard
 * output, and the task is scheduled for the first. 1; 0 when 'callback' is null. The first two
 * parameters are not used. Simulated. */
typedef int32_t HalFdbFlushFn(PCSIM_IS(ignored) uint32_t unused1,
                              PCSIM_IS(ignored) uint32_t unused2,
                              PCSIM_IS(kept, null) HalCompletionFn* callback, uint32_t argument1,
                              uint32_t argument2);

/* Prints every entry in use, in table order, and their number. 0. Live. */
typedef int32_t HalFdbDumpFn(PCSIM_IS(null) const pcSimDumpSink* sink);

/* Filters in hardware. Accepted and ignored. */
typedef HalStubFn HalFdbFilterAddFn;
typedef HalStubFn HalFdbFilterDelFn;
typedef HalStubFn HalFdbFilterAddIngressFn;
typedef HalStubFn HalFdbFilterDelIngressFn;
typedef HalStubFn HalFdbFilterAddEgressFn;
typedef HalStubFn HalFdbFilterDelEgressFn;
typedef HalStubFn HalFdbFilterDumpFn;

/* --- Forwarding database: card operations ----------------------------------------------------- */

/* A card's own copy of the table comes up, goes down, is brought up to date. The simulated cards
 * have none: traced. 0. Accepted and ignored. */
typedef int32_t HalCardFdbInitFn(int32_t slot);
typedef int32_t HalCardFdbCleanupFn(int32_t slot);
typedef int32_t HalCardFdbSyncHwFn(int32_t slot);

/* Accepted and ignored. */
typedef HalStubFn HalCardMacFdbWriteEntryFn;
typedef HalStubFn HalCardMacFdbCheckMacRefreshFn;

/* --- VLANs, ports and memberships ------------------------------------------------------------- */

/* Makes a hardware handle for the record and stores it in '*handle', null when there is no memory.
 * A vlanIf's handle reads 1, the others 0. Traced. 0. Simulated. */
typedef int32_t HalVlanIfCreateFn(const HalVlanIf* vlanIf, PCSIM_IS(out, new) HalHwHandle** handle);
typedef int32_t HalCardPifCreateFn(const HalPif* pif, PCSIM_IS(out, new) HalHwHandle** handle);
typedef int32_t HalVpifCreateFn(const HalVpif* vpif, PCSIM_IS(out, new) HalHwHandle** handle);

/* Frees '*handle' and sets it to null; a null one is left alone. A handle other than the one the
 * record holds is reported on standard output, and is freed all the same. The recorded handle is
 * only compared. Traced. 0. Simulated. */
typedef int32_t HalVlanIfDeleteFn(const HalVlanIf* vlanIf, HalHwHandle** handle);
typedef int32_t HalCardPifDeleteFn(const HalPif* pif, HalHwHandle** handle);
typedef int32_t HalVpifDeleteFn(const HalVpif* vpif, HalHwHandle** handle);

/* A VLAN appears on a card or goes from it. Traced. 0. Accepted and ignored. */
typedef int32_t HalCardVlanCreateFn(int32_t slot, const HalVlanIf* vlanIf);
typedef int32_t HalCardVlanDeleteFn(int32_t slot, const HalVlanIf* vlanIf);

/* A port joins a VLAN, joins it again after its card came back, leaves it. Traced. 0. Accepted and
 * ignored. */
typedef int32_t HalCardVlanAddPortFn(const HalVpif* vpif);
typedef int32_t HalCardSyncVlanAddPortFn(const HalVpif* vpif);
typedef int32_t HalCardVlanDeletePortFn(const HalVpif* vpif);

/* Switches an option of a VLAN; 'enable' is zero or not. Traced. 0. Accepted and ignored. */
typedef int32_t HalVlanOptionEnableFn(const HalVlanIf* vlanIf, int32_t option,
                                      PCSIM_IS(flag) int32_t enable);

/* Adds ('add' non-zero) or deletes a protocol filter of a port. Traced. 0. Accepted and ignored. */
typedef int32_t HalCardVpifCfgProtocolFn(const HalPif* pif, const HalProtocolFilter* filter,
                                         PCSIM_IS(hex) uint16_t protocolType, uint16_t value,
                                         PCSIM_IS(flag) int32_t add);

/* Accepted and ignored. */
typedef HalStubFn HalCardVlanDeferUpdateStartFn;
typedef HalStubFn HalCardVlanDeferUpdateEndFn;
typedef HalStubFn HalCardVlanSyncSlotFn;
typedef HalStubFn HalCardVlanBeginSyncFn;
typedef HalStubFn HalVlanChangeTagFn;
typedef HalStubFn HalCardVpifChangeTagFn;
typedef HalStubFn HalVlanCfgIpAddrFn;
typedef HalStubFn HalVlanCfgSubvlanFn;
typedef HalStubFn HalPortCfgQosProfileFn;
typedef HalStubFn HalPortCfgIngressQosProfileFn;
typedef HalStubFn HalConfigDot1pQosFn;
typedef HalStubFn HalConfigDiffservQosFn;
typedef HalStubFn HalUnconfigDiffservQosFn;
typedef HalStubFn HalPortEnableDiffservQosFn;
typedef HalStubFn HalConfigPortQosFn;
typedef HalStubFn HalPortEnableDot1pExamineFn;
typedef HalStubFn HalPortEnableDot1pReplaceFn;
typedef HalStubFn HalConfigDiffservReplaceFn;
typedef HalStubFn HalPortEnableDiffservReplaceFn;
typedef HalStubFn HalVlanConfigVlanQosFn;
typedef HalStubFn HalConfigVManEthertypeFn;
typedef HalStubFn HalConfigVManPortFn;
typedef HalStubFn HalVrCreateFn;
typedef HalStubFn HalVrDeleteFn;
typedef HalStubFn HalCfgVrAndVlanFn;

/* --- What serves the operations --------------------------------------------------------------- */

/* The block of HAL_FDB_ENTRIES entries, for whoever wants to walk it; null before the init and
 * after one that failed, dangling after a clean-up. Written by the operations alone. */
extern PCSIM_API HalFdbEntry* pcSimFdbTable;

/* CRC-16/ARC of the 6 bytes at 'mac'. XORed with the VLAN id it is the number of a bucket.
 * Constant. */
typedef uint32_t HalFdbHashFn(PCSIM_IS(mac, elements 6) const uint8_t* mac);

/* The task that a flush schedules: runs the registered callback with the two arguments and two
 * zeros and returns its result, 0 when there is none. Simulated. Thread: the HAL's task context. */
typedef HalTaskFn HalFlushCallbackFn;

/* --- Operations by name ----------------------------------------------------------------------- */

PCSIM_OPERATION(HalFdbInitFn, pcSimPCFamFdbInit);
PCSIM_OPERATION(HalFdbCleanupFn, pcSimPCFamFdbCleanup);
PCSIM_OPERATION(HalFdbMacLookupFn, pcSimPCFamFdbMacLookup);
PCSIM_OPERATION(HalFdbAllocEntryFn, pcSimPCFamFdbAllocEntry);
PCSIM_OPERATION(HalFdbDeleteEntryFn, pcSimPCFamFdbDeleteEntry);
PCSIM_OPERATION(HalFdbAddEntryFn, pcSimPCFamFdbAddEntry);
PCSIM_OPERATION(HalFdbReadEntryFn, pcSimPCFamFdbReadEntry);
PCSIM_OPERATION(HalFdbFlushFn, pcSimPCFamFdbFlush);
PCSIM_OPERATION(HalFdbDumpFn, pcSimPCFamFdbDump);
PCSIM_OPERATION(HalFdbFilterAddFn, pcSimPCFamFdbFilterAdd);
PCSIM_OPERATION(HalFdbFilterDelFn, pcSimPCFamFdbFilterDel);
PCSIM_OPERATION(HalFdbFilterAddIngressFn, pcSimPCFamFdbFilterAddIngress);
PCSIM_OPERATION(HalFdbFilterDelIngressFn, pcSimPCFamFdbFilterDelIngress);
PCSIM_OPERATION(HalFdbFilterAddEgressFn, pcSimPCFamFdbFilterAddEgress);
PCSIM_OPERATION(HalFdbFilterDelEgressFn, pcSimPCFamFdbFilterDelEgress);
PCSIM_OPERATION(HalFdbFilterDumpFn, pcSimPCFamFdbFilterDump);
PCSIM_OPERATION(HalFlushCallbackFn, pcSimFlushCallback);
PCSIM_OPERATION(HalFdbHashFn, pcSimFdbHash);
PCSIM_OPERATION(HalCardFdbInitFn, pcSimCardFdbInit);
PCSIM_OPERATION(HalCardFdbCleanupFn, pcSimCardFdbCleanup);
PCSIM_OPERATION(HalCardFdbSyncHwFn, pcSimCardFdbSyncHw);
PCSIM_OPERATION(HalCardMacFdbWriteEntryFn, pcSimCardMacFdbWriteEntry);
PCSIM_OPERATION(HalCardMacFdbCheckMacRefreshFn, pcSimCardMacFdbCheckMacRefresh);

PCSIM_OPERATION(HalVlanIfCreateFn, pcSimVlanIfCreate);
PCSIM_OPERATION(HalVlanIfDeleteFn, pcSimVlanIfDelete);
PCSIM_OPERATION(HalCardPifCreateFn, pcSimCardPifCreate);
PCSIM_OPERATION(HalCardPifDeleteFn, pcSimCardPifDelete);
PCSIM_OPERATION(HalVpifCreateFn, pcSimVpifCreate);
PCSIM_OPERATION(HalVpifDeleteFn, pcSimVpifDelete);
PCSIM_OPERATION(HalCardVlanCreateFn, pcSimCardVlanCreate);
PCSIM_OPERATION(HalCardVlanDeleteFn, pcSimCardVlanDelete);
PCSIM_OPERATION(HalCardVlanAddPortFn, pcSimCardVlanAddPort);
PCSIM_OPERATION(HalCardSyncVlanAddPortFn, pcSimCardSyncVlanAddPort);
PCSIM_OPERATION(HalCardVlanDeletePortFn, pcSimCardVlanDeletePort);
PCSIM_OPERATION(HalVlanOptionEnableFn, pcSimVlanOptionEnable);
PCSIM_OPERATION(HalCardVpifCfgProtocolFn, pcSimCardVpifCfgProtocol);
PCSIM_OPERATION(HalCardVlanDeferUpdateStartFn, pcSimCardVlanDeferUpdateStart);
PCSIM_OPERATION(HalCardVlanDeferUpdateEndFn, pcSimCardVlanDeferUpdateEnd);
PCSIM_OPERATION(HalCardVlanSyncSlotFn, pcSimCardVlanSyncSlot);
PCSIM_OPERATION(HalCardVlanBeginSyncFn, pcSimCardVlanBeginSync);
PCSIM_OPERATION(HalVlanChangeTagFn, pcSimVlanChangeTag);
PCSIM_OPERATION(HalCardVpifChangeTagFn, pcSimCardVpifChangeTag);
PCSIM_OPERATION(HalVlanCfgIpAddrFn, pcSimVlanCfgIpAddr);
PCSIM_OPERATION(HalVlanCfgSubvlanFn, pcSimVlanCfgSubvlan);
PCSIM_OPERATION(HalPortCfgQosProfileFn, pcSimPortCfgQosProfile);
PCSIM_OPERATION(HalPortCfgIngressQosProfileFn, pcSimPortCfgIngressQosProfile);
PCSIM_OPERATION(HalConfigDot1pQosFn, pcSimConfigDot1pQos);
PCSIM_OPERATION(HalConfigDiffservQosFn, pcSimConfigDiffservQos);
PCSIM_OPERATION(HalUnconfigDiffservQosFn, pcSimUnconfigDiffservQos);
PCSIM_OPERATION(HalPortEnableDiffservQosFn, pcSimPortEnableDiffservQos);
PCSIM_OPERATION(HalConfigPortQosFn, pcSimConfigPortQos);
PCSIM_OPERATION(HalPortEnableDot1pExamineFn, pcSimPortEnableDot1pExamine);
PCSIM_OPERATION(HalPortEnableDot1pReplaceFn, pcSimPortEnableDot1pReplace);
PCSIM_OPERATION(HalConfigDiffservReplaceFn, pcSimConfigDiffservReplace);
PCSIM_OPERATION(HalPortEnableDiffservReplaceFn, pcSimPortEnableDiffservReplace);
PCSIM_OPERATION(HalVlanConfigVlanQosFn, pcSimVlanConfigVlanQos);
PCSIM_OPERATION(HalConfigVManEthertypeFn, pcSimConfigVManEthertype);
PCSIM_OPERATION(HalConfigVManPortFn, pcSimConfigVManPort);
PCSIM_OPERATION(HalVrCreateFn, pcSimVrCreate);
PCSIM_OPERATION(HalVrDeleteFn, pcSimVrDelete);
PCSIM_OPERATION(HalCfgVrAndVlanFn, pcSimCfgVrAndVlan);

PCSIM_END_DECLS

#endif
