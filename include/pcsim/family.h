/* The operations of a card family: forwarding tables, VLANs, trunks, quality of service, sampling.
 *
 * There is one family. A word that is null is a function that it does not offer. The contract of an
 * operation stands at its type, in the header of its area. */
#ifndef PCSIM_FAMILY_H
#define PCSIM_FAMILY_H

#include "pcsim/acl.h"
#include "pcsim/base.h"
#include "pcsim/card.h"
#include "pcsim/l2.h"
#include "pcsim/l3.h"
#include "pcsim/mcast.h"
#include "pcsim/misc.h"
#include "pcsim/port.h"
#include "pcsim/trunk.h"

PCSIM_BEGIN_DECLS

/* 332 words, owned by the HAL; all but word 0 are written. */
/* clang-format off */
typedef struct HalFamilyOps {
    void* word0; /* word 0: the HAL's, never touched */

    /* VLANs, virtual routers and interfaces */
    HalVlanChangeTagFn* vlanChangeTag;                         /* word 1 */
    HalVlanCfgIpAddrFn* vlanCfgIpAddr;                         /* word 2 */
    HalVrCreateFn* vrCreate;                                   /* word 3 */
    HalVrDeleteFn* vrDelete;                                   /* word 4 */
    HalCfgVrAndVlanFn* cfgVrAndVlan;                           /* word 5 */
    HalVlanIfCreateFn* vlanIfCreate;                           /* word 6 */
    HalVlanIfDeleteFn* vlanIfDelete;                           /* word 7 */
    HalVpifCreateFn* vpifCreate;                               /* word 8 */
    HalVpifDeleteFn* vpifDelete;                               /* word 9 */
    HalVlanOptionEnableFn* vlanOptionEnable;                   /* word 10 */

    /* Trunks */
    HalTrunkCreateFn* trunkCreate;                             /* word 11 */
    HalTrunkDeleteFn* trunkDelete;                             /* word 12 */
    HalTrunkAddPortsFn* trunkAddPorts;                         /* word 13 */
    HalStubFn* trunkDelPorts;                                  /* word 14 */
    HalStubFn* trunkLinkChange;                                /* word 15 */
    HalStubFn* vlanAddTrunkPort;                               /* word 16 */
    HalStubFn* vlanDelTrunkPort;                               /* word 17 */
    HalStubFn* vlanChangeTagTrunkPort;                         /* word 18 */
    HalStubFn* trunkConfigLoadSharing;                         /* word 19 */
    HalTrunkConfigAddrAlgoFn* trunkConfigAddrAlgo;             /* word 20 */
    HalStubFn* trunkSetForwardingState;                        /* word 21 */

    /* Virtual router membership */
    HalStubFn* addDelVlanToVr;                                 /* word 22 */
    HalStubFn* addDelPortToVr;                                 /* word 23 */
    void* reserved24;                                          /* word 24 */

    /* Forwarding database */
    HalFdbInitFn* fdbInit;                                     /* word 25 */
    HalFdbCleanupFn* fdbCleanup;                               /* word 26 */
    HalFdbMacLookupFn* fdbMacLookup;                           /* word 27 */
    HalFdbAllocEntryFn* fdbAllocEntry;                         /* word 28 */
    HalFdbDeleteEntryFn* fdbDeleteEntry;                       /* word 29 */
    HalFdbAddEntryFn* fdbAddEntry;                             /* word 30 */
    HalFdbReadEntryFn* fdbReadEntry;                           /* word 31 */
    HalFdbFlushFn* fdbFlush;                                   /* word 32 */
    HalFdbDumpFn* fdbDump;                                     /* word 33 */

    /* IP adjacencies */
    HalIpAdjAddFn* ipAdjAdd;                                   /* word 34 */
    HalIpAdjRemoveFn* ipAdjRemove;                             /* word 35 */
    HalIpAdjDumpFn* ipAdjDump;                                 /* word 36 */

    /* Forwarding-database filters */
    HalFdbFilterAddFn* fdbFilterAdd;                           /* word 37 */
    HalFdbFilterDelFn* fdbFilterDel;                           /* word 38 */
    HalFdbFilterAddIngressFn* fdbFilterAddIngress;             /* word 39 */
    HalFdbFilterDelIngressFn* fdbFilterDelIngress;             /* word 40 */
    HalFdbFilterAddEgressFn* fdbFilterAddEgress;               /* word 41 */
    HalFdbFilterDelEgressFn* fdbFilterDelEgress;               /* word 42 */
    HalFdbFilterDumpFn* fdbFilterDump;                         /* word 43 */

    /* IPv4 routes */
    HalStubFn* ipv4FibInit;                                    /* word 44 */
    HalStubFn* ipv4FibCleanup;                                 /* word 45 */
    HalStubFn* ipv4FibLookup;                                  /* word 46 */
    HalIPv4FibAddEntryFn* ipv4FibAddEntry;                     /* word 47 */
    HalIPv4FibDeleteEntryFn* ipv4FibDeleteEntry;               /* word 48 */
    HalIPv4FibReplaceEntryFn* ipv4FibReplaceEntry;             /* word 49 */
    HalIPv4FibFlushFn* ipv4FibFlush;                           /* word 50 */
    HalIPv4FibDumpFn* ipv4FibDump;                             /* word 51 */
    HalStubFn* ipv4FibTransEnd;                                /* word 52 */

    /* IPv4 multicast cache */
    HalIpv4McHwCacheAddFn* ipv4McHwCacheAdd;                   /* word 53 */
    HalIpv4McHwCacheDelFn* ipv4McHwCacheDel;                   /* word 54 */
    HalIpv4McHwCacheOifPortAddFn* ipv4McHwCacheOifPortAdd;     /* word 55 */
    HalIpv4McHwCacheOifPortDelFn* ipv4McHwCacheOifPortDel;     /* word 56 */
    HalIpv4McHwCacheFlushFn* ipv4McHwCacheFlush;               /* word 57 */
    HalIpv4McHwCacheGetStatsFn* ipv4McHwCacheGetStats;         /* word 58 */
    HalDumpHalMcDbFn* dumpHalMcDb;                             /* word 59 */
    void* reserved60[4];                                       /* words 60 to 63 */

    /* IPv4 access lists */
    HalIPv4AclAddFn* ipv4AclAdd;                               /* word 64 */
    HalIPv4AclDelFn* ipv4AclDel;                               /* word 65 */
    HalIPv4AclRefreshDiffFn* ipv4AclRefreshDiff;               /* word 66 */
    HalIPv4AclRefreshFn* ipv4AclRefresh;                       /* word 67 */
    HalIPv4AclConfigFn* ipv4AclConfig;                         /* word 68 */
    HalIPv4AclUnconfigFn* ipv4AclUnconfig;                     /* word 69 */
    HalIPv4AclGetCounterFn* ipv4AclGetCounter;                 /* word 70 */
    HalIPv4AclClearCounterFn* ipv4AclClearCounter;             /* word 71 */
    void* reserved72[6];                                       /* words 72 to 77 */
    HalStubFn* ipv4AclModify;                                  /* word 78 */
    void* reserved79[6];                                       /* words 79 to 84 */

    /* Quality of service */
    HalConfigDot1pQosFn* configDot1pQos;                       /* word 85 */
    HalConfigDiffservQosFn* configDiffservQos;                 /* word 86 */
    HalUnconfigDiffservQosFn* unconfigDiffservQos;             /* word 87 */
    HalConfigDiffservReplaceFn* configDiffservReplace;         /* word 88 */
    HalVlanConfigVlanQosFn* vlanConfigVlanQos;                 /* word 89 */
    void* reserved90[2];                                       /* words 90 and 91 */

    /* Tunnel Ethertype */
    HalConfigVManEthertypeFn* configVManEthertype;             /* word 92 */

    /* Sampling and mirroring */
    HalAllocSampleBinFn* allocSampleBin;                       /* word 93 */
    void* reserved94;                                          /* word 94 */
    HalSFLOWAddPortsForSampleFn* sflowAddPortsForSample;       /* word 95 */
    HalSFLOWDelPortsForSampleFn* sflowDelPortsForSample;       /* word 96 */
    HalSFLOWGetCntSampleOnPortFn* sflowGetCntSampleOnPort;     /* word 97 */
    HalStubFn* mirEnable;                                      /* word 98 */

    /* IPv6 routes */
    HalStubFn* ipv6FibInit;                                    /* word 99 */
    HalStubFn* ipv6FibCleanup;                                 /* word 100 */
    HalStubFn* ipv6FibLookup;                                  /* word 101 */
    HalIPv6FibAddEntryFn* ipv6FibAddEntry;                     /* word 102 */
    HalIPv6FibDeleteEntryFn* ipv6FibDeleteEntry;               /* word 103 */
    HalIPv6FibReplaceEntryFn* ipv6FibReplaceEntry;             /* word 104 */
    HalIPv6FibFlushFn* ipv6FibFlush;                           /* word 105 */
    HalIPv6FibDumpFn* ipv6FibDump;                             /* word 106 */
    void* reserved107[62];                                     /* words 107 to 168 */

    /* Later additions */
    HalStubFn* ipv4DirBcast;                                   /* word 169 */
    void* reserved170[2];                                      /* words 170 and 171 */
    HalSyncLoadShareAddrAlgoSlotFn* syncLoadShareAddrAlgoSlot; /* word 172 */
    void* reserved173[12];                                     /* words 173 to 184 */
    HalVlanCfgSubvlanFn* vlanCfgSubvlan;                       /* word 185 */
    void* reserved186[95];                                     /* words 186 to 280 */
    HalCardPifCreateFn* cardPifCreate;                         /* word 281 */
    HalCardPifDeleteFn* cardPifDelete;                         /* word 282 */
    HalCardMacFdbCheckMacRefreshFn* cardMacFdbCheckMacRefresh; /* word 283 */
    void* reserved284[48];                                     /* words 284 to 331 */
} HalFamilyOps;
/* clang-format on */

PCSIM_END_DECLS

#endif
