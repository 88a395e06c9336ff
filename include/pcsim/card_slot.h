/* The record of one card slot: what the HAL needs to know about its ports, and the operations by
 * which it drives the card in it.
 *
 * A word that is null is a function that the card does not offer. The contract of an operation
 * stands at its type, in the header of its area. */
#ifndef PCSIM_CARD_SLOT_H
#define PCSIM_CARD_SLOT_H

#include "pcsim/acl.h"
#include "pcsim/base.h"
#include "pcsim/card.h"
#include "pcsim/l2.h"
#include "pcsim/l3.h"
#include "pcsim/misc.h"
#include "pcsim/port.h"
#include "pcsim/trunk.h"

PCSIM_BEGIN_DECLS

/* clang-format off */
typedef struct HalCardSlotOps {
    /* Life cycle and supervision */
    HalCardInitFn* cardInit;                                                   /* word 11 */
    HalCardCleanupFn* cardCleanup;                                             /* word 12 */
    HalCardRunExtPostFn* cardRunExtPost;                                       /* word 13 */
    HalCardStartDownloadFn* cardStartDownload;                                 /* word 14 */
    HalCardStartBootingFn* cardStartBooting;                                   /* word 15 */
    HalCardPowerOnCheckFn* cardPowerOnCheck;                                   /* word 16 */
    HalCardGetHwInfoFn* cardGetHwInfo;                                         /* word 17: one per shape */
    HalCardReadTemperatureFn* cardReadTemperature;                             /* word 18 */
    HalStubFn* cardInitOdometer;                                               /* word 19 */
    HalStubFn* cardSetOdometer;                                                /* word 20 */
    HalCardGetOdometerFn* cardGetOdometer;                                     /* word 21 */
    HalStubFn* cardOptionEnable;                                               /* word 22 */
    HalMacIntEnableFn* macIntEnable;                                           /* word 23 */
    HalMacIntrGetMaskFn* macIntrGetMask;                                       /* word 24 */

    /* Forwarding database */
    HalCardFdbInitFn* cardFdbInit;                                             /* word 25 */
    HalCardFdbCleanupFn* cardFdbCleanup;                                       /* word 26 */
    HalCardFdbSyncHwFn* cardFdbSyncHw;                                         /* word 27 */
    HalCardMacFdbWriteEntryFn* cardMacFdbWriteEntry;                           /* word 28 */

    /* VLANs */
    HalCardVlanDeferUpdateStartFn* cardVlanDeferUpdateStart;                   /* word 29 */
    HalCardVlanDeferUpdateEndFn* cardVlanDeferUpdateEnd;                       /* word 30 */
    HalCardVlanSyncSlotFn* cardVlanSyncSlot;                                   /* word 31 */
    HalCardSyncVlanAddPortFn* cardSyncVlanAddPort;                             /* word 32 */
    HalCardVlanCreateFn* cardVlanCreate;                                       /* word 33 */
    HalCardVlanDeleteFn* cardVlanDelete;                                       /* word 34 */
    HalCardVlanAddPortFn* cardVlanAddPort;                                     /* word 35 */
    HalCardVlanDeletePortFn* cardVlanDeletePort;                               /* word 36 */
    HalCardVpifCfgProtocolFn* cardVpifCfgProtocol;                             /* word 37 */
    HalCardVpifChangeTagFn* cardVpifChangeTag;                                 /* word 38 */
    HalStubFn* cardVpifCfgMacSecurity;                                         /* word 39 */

    /* Ports */
    HalCardDeferUpdatePortStartFn* cardDeferUpdatePortStart;                   /* word 40 */
    HalCardDeferUpdatePortEndFn* cardDeferUpdatePortEnd;                       /* word 41 */
    HalCardPortEnableFn* cardPortEnable;                                       /* word 42 */
    HalCardPortEnableJumboFn* cardPortEnableJumbo;                             /* word 43 */
    HalStubFn* cardPortProbe;                                                  /* word 44 */
    HalCardPortConfigAutoNegFn* cardPortConfigAutoNeg;                         /* word 45 */
    HalCardPortRestartFn* cardPortRestart;                                     /* word 46 */
    HalCardPortShutDownFn* cardPortShutDown;                                   /* word 47 */
    HalCardPortSetRouterAddressFn* cardPortSetRouterAddress;                   /* word 48 */
    HalCardPortEnableRcvFn* cardPortEnableRcv;                                 /* word 49 */
    HalStubFn* cardPortFdbLearn;                                               /* word 50 */
    void* reserved51[3];                                                       /* words 51 to 53 */
    HalCardPortSetLinkLEDFn* cardPortSetLinkLED;                               /* word 54 */
    HalStubFn* cardPortEnableIntr;                                             /* word 55 */
    HalCardPortConfigVlanStatFn* cardPortConfigVlanStat;                       /* word 56 */
    void* reserved57;                                                          /* word 57 */
    HalCardPortConfigIPGFn* cardPortConfigIPG;                                 /* word 58 */
    HalCardPortGetMediaTypeFn* cardPortGetMediaType;                           /* word 59 */
    HalCardPortGetIntStatusFn* cardPortGetIntStatus;                           /* word 60 */
    HalCardPortLinkInfoFn* cardPortLinkInfo;                                   /* word 61 */
    HalStubFn* cardPortEnableMFilter;                                          /* word 62 */
    HalStubFn* cardPortAckIntr;                                                /* word 63 */
    HalCardPortLinkChangeFn* cardPortLinkChange;                               /* word 64 */
    HalCardPortSyncSetMirroredStateFn* cardPortSyncSetMirroredState;           /* word 65 */
    HalCardPortSyncSetForwardingStateFn* cardPortSyncSetForwardingState;       /* word 66 */
    HalCardPortSetForwardingStateFn* cardPortSetForwardingState;               /* word 67 */
    HalCardPortGetForwardingStateFn* cardPortGetForwardingState;               /* word 68 */

    /* Statistics */
    HalCardPortZeroStatsFn* cardPortZeroStats;                                 /* word 69 */
    HalCardPortGetStatsFn* cardPortGetStats;                                   /* word 70: a chassis reads and clears */
    HalStubFn* cardPortZeroVlanStats;                                          /* word 71 */
    HalStubFn* cardPortGetVlanStats;                                           /* word 72 */

    /* Backplane, diagnostics, LEDs */
    HalCardInternalLinkEnableFn* cardInternalLinkEnable;                       /* word 73 */
    HalCardInternalLinkConfigLoadSharingFn* cardInternalLinkConfigLoadSharing; /* word 74 */
    HalCardDiagnosticsRunFn* cardDiagnosticsRun;                               /* word 75 */
    HalCardDiagnosticsGetResultFn* cardDiagnosticsGetResult;                   /* word 76 */
    HalStubFn* cardLEDSet;                                                     /* word 77 */

    /* Mirroring */
    HalStubFn* mirCfgPort;                                                     /* word 78 */
    HalStubFn* mirVlanCfgPort;                                                 /* word 79 */
    HalStubFn* mirTrunkCfgPort;                                                /* word 80 */
    void* reserved81;                                                          /* word 81 */

    /* Quality of service */
    HalPortCfgQosProfileFn* portCfgQosProfile;                                 /* word 82 */
    HalPortCfgIngressQosProfileFn* portCfgIngressQosProfile;                   /* word 83 */
    HalConfigPortQosFn* configPortQos;                                         /* word 84 */
    HalPortEnableDot1pExamineFn* portEnableDot1pExamine;                       /* word 85 */
    HalPortEnableDiffservReplaceFn* portEnableDiffservReplace;                 /* word 86 */
    HalPortEnableDiffservQosFn* portEnableDiffservQos;                         /* word 87 */
    HalPortEnableDot1pReplaceFn* portEnableDot1pReplace;                       /* word 88 */
    HalConfigVManPortFn* configVManPort;                                       /* word 89 */
    void* reserved90[2];                                                       /* words 90 and 91 */

    /* Table synchronisation */
    HalStubFn* cardIPv4SyncBeginHw;                                            /* word 92 */
    HalStubFn* cardIPv4SyncEndHw;                                              /* word 93 */
    HalStubFn* cardIPv4AclSyncBegin;                                           /* word 94 */
    HalStubFn* cardIPv4AclSyncEnd;                                             /* word 95 */

    /* Power over Ethernet */
    HalCardPoeSlotEnableFn* cardPoeSlotEnable;                                 /* word 96 */
    HalCardPoeSlotDisableFn* cardPoeSlotDisable;                               /* word 97 */
    HalCardPoeSlotEnableLegacyFn* cardPoeSlotEnableLegacy;                     /* word 98 */
    HalCardPoeSlotDisableLegacyFn* cardPoeSlotDisableLegacy;                   /* word 99 */
    HalCardPoeSetUsageThresholdFn* cardPoeSetUsageThreshold;                   /* word 100 */
    HalCardPoeSetDisconnectModeFn* cardPoeSetDisconnectMode;                   /* word 101 */
    HalCardPoeSetPowerSlotFn* cardPoeSetPowerSlot;                             /* word 102 */
    HalCardPoeGetVersionFn* cardPoeGetVersion;                                 /* word 103 */
    HalCardPoeSNMPGetSlotInfoFn* cardPoeSNMPGetSlotInfo;                       /* word 104 */
    HalCardPoeSNMPGetPortInfoFn* cardPoeSNMPGetPortInfo;                       /* word 105 */
    HalCardPoePortEnableFn* cardPoePortEnable;                                 /* word 106 */
    HalCardPoePortDisableFn* cardPoePortDisable;                               /* word 107 */
    HalCardPoePortInfoFn* cardPoePortInfo;                                     /* word 108 */
    HalCardPoeGetPortDetailsFn* cardPoeGetPortDetails;                         /* word 109 */
    HalCardPoeGetPortStateFn* cardPoeGetPortState;                             /* word 110 */
    HalCardPoeSetPortValueFn* cardPoeSetPortValue;                             /* word 111 */

    /* Port access, trunks and further port options */
    HalStubFn* cardPortEnableNetlogin;                                         /* word 112 */
    HalTrunkSyncSlotFn* trunkSyncSlot;                                         /* word 113 */
    HalStubFn* syncVlanAddTrunk;                                               /* word 114 */
    HalStubFn* cfgInterfacePortStateControl;                                   /* word 115 */
    void* reserved116[2];                                                      /* words 116 and 117 */
    HalStubFn* cardPortConfigAutoPolarity;                                     /* word 118 */
    HalStubFn* cardPortEnableMacBasedVlan;                                     /* word 119 */
    void* reserved120[3];                                                      /* words 120 to 122 */
    HalStubFn* portCfgEqosCosRemap;                                            /* word 123: null on a chassis */
    HalStubFn* portCfgHighPriCosVal;                                           /* word 124: null on a chassis */
    void* reserved125[20];                                                     /* words 125 to 144 */
    HalCardVlanBeginSyncFn* cardVlanBeginSync;                                 /* word 145 */
    void* reserved146[109];                                                    /* words 146 to 254 */
    HalIsPortDisabledFn* isPortDisabled;                                       /* word 255: null on a chassis */
    void* reserved256[10];                                                     /* words 256 to 265 */
    HalStubFn* cardPortNetloginAuthOptional;                                   /* word 266 */
} HalCardSlotOps;
/* clang-format on */

/* The HAL's record of a slot. Port p of the card is the interface that the pattern names with
 * portMap[p - 1]. */
typedef struct HalCardSlotDb {
    uint32_t word0;                          /* 0 */
    uint32_t word4;                          /* 4 */
    uint32_t word8;                          /* 8 */
    PCSIM_IS(text) char interfacePattern[8]; /* 12: "eth%d", NUL-terminated */
    uint8_t reserved20[8];
    uint32_t portCount; /* 28: live for a stackable, else constant */
    /* 32: the library's, interface numbers; or null */
    PCSIM_IS(count portCount) const uint32_t* portMap;
    uint8_t reserved36[8];
    HalCardSlotOps ops; /* 44: words 11 to 266 */
} HalCardSlotDb;

PCSIM_END_DECLS

#endif
