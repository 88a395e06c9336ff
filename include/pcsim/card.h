/* Cards: the card-database record, the identity and capability of a card, and the operations by
 * which the HAL takes a card through its life.
 *
 * A slot is a signed number. Slots 1 to 8 of a chassis hold I/O cards, the ones above management
 * modules; a stackable is one card. Records are the HAL's unless said otherwise; reserved bytes,
 * and bytes behind the NUL of a text, are never touched. Words without a name are the HAL's own.
 *
 * Thread: any of the HAL's, one call at a time; the reports of card states run in its task
 * context. */
#ifndef PCSIM_CARD_H
#define PCSIM_CARD_H

#include "pcsim/base.h"
#include "pcsim/host.h"
#include "pcsim/part_info.h"

PCSIM_BEGIN_DECLS

struct HalFamilyOps;
struct HalCardSlotDb;

/* Bit n set: a card sits in slot n, of the low five bits of a slot's number. Set by module control,
 * at any time. At load slot 8 and slots 11 to 15 are empty. */
extern PCSIM_API HalPresenceMask pcSimCardPresentMask;

/* 1 when the delayed reports of card states are wanted: set by the chassis card-database setup from
 * the environment (HAL_SIM_REMOTE_IO), never cleared. */
extern PCSIM_API int32_t simulateRemoteIO;

/* Card types. */
#define HAL_CARD_UNKNOWN 0u
#define HAL_CARD_C256 403u       /* "PCSimC256": 256 ports */
#define HAL_CARD_C2 404u         /* "PCSimC2": 2 ports */
#define HAL_CARD_MANAGEMENT 405u /* "PCSimMGT": no front-panel port */
#define HAL_CARD_STACKABLE 406u  /* "PCSimStack": up to 12 ports */
#define HAL_CARD_C128 407u       /* "PCSimC128": 128 ports */

/* --- Capability ------------------------------------------------------------------------------- */

/* Sizes and limits of a card's forwarding resources. Constants, the same for every known card. */
typedef struct HalCardResources {
    uint16_t half56; /* 56 in the capability record, and so on */
    uint16_t half58; /* 58 */
    uint16_t half60; /* 60 */
    uint16_t half62; /* 62 */
    uint8_t reserved64[16];
    uint32_t word80;  /* 80 */
    uint32_t word84;  /* 84 */
    uint32_t word88;  /* 88 */
    uint32_t word92;  /* 92 */
    uint32_t word96;  /* 96 */
    uint32_t word100; /* 100 */
    uint32_t word104; /* 104 */
    uint32_t word108; /* 108 */
    uint32_t word112; /* 112 */
    uint32_t word116; /* 116 */
    uint8_t reserved120[4];
    uint32_t word124; /* 124 */
    uint32_t word128; /* 128 */
    uint32_t word132; /* 132 */
    uint32_t word136; /* 136 */
    uint8_t reserved140[8];
    uint32_t word148;     /* 148 */
    uint32_t word152;     /* 152 */
    uint32_t word156;     /* 156 */
    uint32_t word160;     /* 160 */
    uint32_t word164;     /* 164 */
    uint32_t word168;     /* 168 */
    uint32_t word172;     /* 172 */
    uint32_t word176;     /* 176 */
    uint32_t word180;     /* 180 */
    uint32_t words184[6]; /* 184 */
    uint32_t word208;     /* 208 */
    uint8_t reserved212[8];
    uint32_t word220; /* 220 */
    uint16_t half224; /* 224 */
    uint16_t half226; /* 226 */
    uint16_t half228; /* 228 */
    uint16_t half230; /* 230 */
    uint16_t half232; /* 232 */
    uint16_t half234; /* 234 */
    uint16_t half236; /* 236 */
    uint16_t half238; /* 238 */
    uint8_t byte240;  /* 240 */
    uint8_t byte241;  /* 241 */
    uint8_t byte242;  /* 242 */
    uint8_t reserved243;
    uint16_t half244; /* 244 */
    uint16_t half246; /* 246 */
    uint16_t half248; /* 248 */
    uint16_t half250; /* 250 */
    uint16_t half252; /* 252 */
    uint16_t half254; /* 254 */
    uint32_t word256; /* 256 */
} HalCardResources;

typedef struct HalCardPortEntry {
    uint32_t kind;                /* 0 */
    uint32_t word4;               /* 4 */
    PCSIM_IS(hex) uint32_t flags; /* 8: the last port of a stackable has bit 0 */
    uint8_t index;                /* 12 */
    uint8_t reserved13[3];
} HalCardPortEntry;

/* What a card type can do. All bytes that are not listed are 0. */
typedef struct HalCardCapability {
    PCSIM_IS(record size) uint32_t size; /* 0: of the whole record, in bytes */
    uint32_t cardType;                   /* 4: HAL_CARD_UNKNOWN for a name that is not known */
    PCSIM_IS(text) char name[16]; /* 8: as asked for, NUL-padded, not terminated when 16 long */
    uint8_t reserved24[4];
    int32_t word28;                                     /* 28 */
    uint32_t portCount;                                 /* 32: number of 'ports' */
    uint32_t word36;                                    /* 36 */
    uint32_t word40;                                    /* 40 */
    uint32_t word44;                                    /* 44 */
    uint32_t word48;                                    /* 48 */
    uint32_t word52;                                    /* 52 */
    HalCardResources resources;                         /* 56 */
    PCSIM_IS(count portCount) HalCardPortEntry ports[]; /* 260 */
} HalCardCapability;

/* A new capability record of the card type called 'name' (NUL-terminated, not null; compared
 * whole). 'slot' is not used. A name that is not known yields a record of type HAL_CARD_UNKNOWN
 * without resources. The HAL owns the record and frees it with free(). Null when there is no
 * memory. Constant but for the number of ports of a stackable, which are the PC's interfaces. */
typedef PCSIM_IS(given) HalCardCapability* HalCardGetCapabilityFn(int32_t slot,
                                                                  PCSIM_IS(text) const char* name);

/* --- Card database ---------------------------------------------------------------------------- */

/* Fills 'table' with the operations of a card family; word 0 is left alone. 'family' is not used:
 * there is one family. Always 0. Constant. */
typedef int32_t HalFamilyDBSetupFn(uint32_t family, PCSIM_IS(out) struct HalFamilyOps* table);

/* 5 when a card sits in 'slot', 0 when none does: bit (slot mod 32) of the presence mask. Live. */
typedef int32_t HalIsCardHwPresentFn(int32_t slot);
#define HAL_CARD_HW_PRESENT 5

/* Requests whose completion the hardware reports later. They return 1 when the report will follow
 * through halCardStatusUpdate, which takes simulated remote I/O, the primary system and a slot of
 * at most 8; else 0, and the HAL takes the step itself. Requests are not remembered: each one
 * reports. */

/* Turns the card's power on ('on' non-zero) or off. Reports HAL_CARD_STATE_POWERED_ON or
 * HAL_CARD_STATE_POWERED_OFF after 2 s. Simulated. */
typedef int32_t HalCardPowerEnableFn(int32_t slot, PCSIM_IS(flag) int32_t on);

/* Runs the extended self test. 'maxTimeMs' is for the trace alone. Reports HAL_CARD_STATE_POST_DONE
 * after 10 s. Simulated. */
typedef int32_t HalCardRunExtPostFn(int32_t slot, int32_t maxTimeMs);

/* Downloads 'image' (a text, not null). Reports HAL_CARD_STATE_DOWNLOADED after 5 s. Simulated. */
typedef int32_t HalCardStartDownloadFn(int32_t slot, PCSIM_IS(text) const char* image);

/* Boots the card. Reports HAL_CARD_STATE_BOOTED after 5 s. Simulated. */
typedef int32_t HalCardStartBootingFn(int32_t slot);

/* Runs the diagnostics. Reports HAL_CARD_STATE_DIAG_DONE after 5 s. Simulated. */
typedef int32_t HalCardDiagnosticsRunFn(int32_t slot);

/* The link interrupts of a card that wait to be handled: 2. Constant. */
typedef int32_t HalCardLinkIntrMaskFn(void);

/* Enables ('enable' non-zero) or disables link interrupts; there are none. Always 0. Accepted and
 * ignored. */
typedef int32_t HalCardLinkIntrEnableFn(int32_t slot, PCSIM_IS(flag) int32_t enable);

/* Operations of the card database. */
typedef struct HalCardDbOps {
    HalCardGetCapabilityFn* cardGetCapability;   /* 8 in the record, word 2 */
    HalFamilyDBSetupFn* familyDBSetup;           /* 12, word 3 */
    void* reserved16;                            /* 16, word 4: null */
    HalIsCardHwPresentFn* isCardHwPresent;       /* 20, word 5 */
    HalCardPowerEnableFn* cardPowerEnable;       /* 24, word 6 */
    HalStubFn* cardOffline;                      /* 28, word 7 */
    HalCardLinkIntrMaskFn* cardLinkIntrMask;     /* 32, word 8 */
    HalCardLinkIntrEnableFn* cardLinkIntrEnable; /* 36, word 9 */
    void* reserved40[6];                         /* 40, words 10 to 15: null */
} HalCardDbOps;

typedef struct HalCardDb {
    uint32_t word0; /* 0 */
    uint8_t byte4;  /* 4 */
    uint8_t byte5;  /* 5: 0 for a stackable, 11 for a chassis */
    uint8_t reserved6[2];
    HalCardDbOps ops; /* 8 */
} HalCardDb;

/* Fills the HAL's card database. The chassis also learns here whether remote I/O is simulated, from
 * the environment. Always 0. 'db' must not be null. Constant. */
typedef int32_t HalCardDBSetupFn(PCSIM_IS(out) HalCardDb* db);

/* Fills the record of one slot (card_slot.h), except for its reserved bytes. Always 0. 'db' must
 * not be null. Constant but for the ports of a stackable, which are the PC's interfaces. */
typedef int32_t HalCardSlotDBSetupFn(int32_t slot, PCSIM_IS(out) struct HalCardSlotDb* db);

/* --- Hardware information --------------------------------------------------------------------- */

/* Identity of a card. The six version texts are written, NUL-padded, for the stackable and the
 * management module alone; I/O cards leave them as they are. */
typedef struct HalCardHwInfo {
    uint8_t reserved0[8];
    uint32_t cardType;            /* 8 */
    PCSIM_IS(text) char name[16]; /* 12: NUL-terminated */
    uint8_t reserved28[4];
    HalPartInfo cardPart; /* 32 */
    uint8_t reserved112[32];
    HalPartInfo cpuSubSystemPart; /* 144 */
    uint8_t reserved224[32];
    PCSIM_IS(text) char bootStrapVersion[40]; /* 256 */
    PCSIM_IS(text) char bootStrapBuild[64];   /* 296 */
    PCSIM_IS(text) char bootRomVersion[40];   /* 360 */
    PCSIM_IS(text) char bootRomBuild[64];     /* 400 */
    PCSIM_IS(text) char softwareVersion[40];  /* 464 */
    PCSIM_IS(text) char softwareBuild[64];    /* 504 */
    uint8_t reserved568[1952];
    uint8_t byte2520;  /* 2520 */
    uint8_t byte2521;  /* 2521 */
    uint16_t half2522; /* 2522 */
    uint16_t half2524; /* 2524: chassis cards alone */
    uint16_t half2526; /* 2526: chassis cards alone */
    uint32_t word2528; /* 2528 */
    uint32_t word2532; /* 2532: chassis cards alone */
    uint32_t word2536; /* 2536: chassis cards alone */
    int32_t word2540;  /* 2540 */
    uint32_t word2544; /* 2544 */
    uint32_t word2548; /* 2548 */
    uint32_t word2552; /* 2552 */
} HalCardHwInfo;

/* Fills 'info' for the card in 'slot'. 0; -1 for a card type without an identity, which has only
 * the type and the four words at the end written. Constant but for the time stamps. */
typedef int32_t HalCardGetHwInfoFn(int32_t slot, PCSIM_IS(out) HalCardHwInfo* info);

/* Fills the identity of one part of the card in 'slot'. Always 0. Constant but for the time
 * stamp. */
typedef int32_t HalCardGetPartInfoFn(int32_t slot, PCSIM_IS(out) HalPartInfo* part);

/* --- Life cycle and supervision --------------------------------------------------------------- */

/* Prepares the card's resources and clears the state of its ports. Always 0. Live. */
typedef int32_t HalCardInitFn(int32_t slot);

/* Gives the card's resources back. Always 0. Accepted and ignored. */
typedef int32_t HalCardCleanupFn(int32_t slot);

/* Whether the card answers after power-on. Always 0: it does. Constant. */
typedef int32_t HalCardPowerOnCheckFn(int32_t slot);

/* Stores the card's temperature, 2000 + 10 x 'slot', in '*temperature'. Always 0. Simulated. */
typedef int32_t HalCardReadTemperatureFn(int32_t slot, PCSIM_IS(out) int32_t* temperature);

/* Stores the card's operating time, 1000 x 'slot', in '*odometer'. Always 0. Simulated. */
typedef int32_t HalCardGetOdometerFn(int32_t slot, PCSIM_IS(out) int32_t* odometer);

/* Enables ('enable' non-zero) or disables MAC interrupts; there are none. Always 0. Accepted and
 * ignored. */
typedef int32_t HalMacIntEnableFn(int32_t slot, PCSIM_IS(flag) int32_t enable);

/* Stores the mask of MAC interrupts, all ones, in '*mask'. Always 0. Constant. */
typedef int32_t HalMacIntrGetMaskFn(int32_t slot, PCSIM_IS(out, hex) uint32_t* mask);

/* Enables ('enable' non-zero) or disables the backplane link between two slots. Always 0. Accepted
 * and ignored. */
typedef int32_t HalCardInternalLinkEnableFn(int32_t fromSlot, int32_t toSlot,
                                            PCSIM_IS(flag) int32_t enable);

/* Sets how load is shared on the backplane link between two slots. Always 0. Accepted and
 * ignored. */
typedef int32_t HalCardInternalLinkConfigLoadSharingFn(int32_t fromSlot, int32_t toSlot,
                                                       int32_t mode);

/* Result of the diagnostics, as far as the platform writes it. */
typedef struct HalCardDiagnosticsResult {
    uint8_t bytes0[13]; /* 0: cleared */
    uint8_t reserved13[39];
    uint8_t byte52; /* 52: cleared */
    uint8_t reserved53[63];
    uint8_t byte116; /* 116: cleared */
    uint8_t reserved117[2249];
    PCSIM_IS(text) char message[19]; /* 2366: NUL-terminated */
} HalCardDiagnosticsResult;

/* Stores "Diag not supported" in 'result'. Always 0. Constant. */
typedef int32_t HalCardDiagnosticsGetResultFn(int32_t slot,
                                              PCSIM_IS(out) HalCardDiagnosticsResult* result);

/* The card type of every slot of a stackable: HAL_CARD_STACKABLE. Constant. */
typedef uint32_t HalStackCardGetIdFn(void);

/* The card type of a chassis slot: HAL_CARD_C256 up to slot 0, HAL_CARD_C2 in slots 1 to 8,
 * HAL_CARD_MANAGEMENT above. Whoever defines it in the host decides what sits in the slots.
 * Constant. */
typedef uint32_t HalChassisCardGetIdFn(int32_t slot);

/* Prepares the module; the card-database setups call it. Traced. Always 0. Accepted and ignored. */
typedef int32_t HalInitFn(void);

/* The task of a delayed report, which the requests above schedule: reports the state 'value &
 * 0xFFFF' of the card in slot 'value >> 16' through halCardStatusUpdate. 'argument' is the host's
 * and is handed on. Always 0. Simulated. Thread: the HAL's task context. */
typedef HalTaskFn HalDelayRelyCallbackFn;

/* --- Operations by name ----------------------------------------------------------------------- */
/* One name per shape where the shapes differ. */

PCSIM_OPERATION(HalCardDBSetupFn, pcSimStackCardDBSetup);
PCSIM_OPERATION(HalCardDBSetupFn, pcSimChassisCardDBSetup);
PCSIM_OPERATION(HalCardSlotDBSetupFn, pcSimStackCardSlotDBSetup);
PCSIM_OPERATION(HalCardSlotDBSetupFn, pcSimChassisCardSlotDBSetup);
PCSIM_OPERATION(HalFamilyDBSetupFn, pcSimFamilyDBSetup);
PCSIM_OPERATION(HalStackCardGetIdFn, pcSimStackCardGetId);
PCSIM_OPERATION(HalChassisCardGetIdFn, pcSimChassisCardGetId);
PCSIM_OPERATION(HalCardGetCapabilityFn, pcSimCardGetCapability);
PCSIM_OPERATION(HalCardGetHwInfoFn, pcSimStackCardGetHwInfo);
PCSIM_OPERATION(HalCardGetHwInfoFn, pcSimChassisCardGetHwInfo);
PCSIM_OPERATION(HalCardGetPartInfoFn, pcSimStackCardGetPartInfo);
PCSIM_OPERATION(HalCardGetPartInfoFn, pcSimChassisCardGetPartInfo);
PCSIM_OPERATION(HalCardGetPartInfoFn, pcSimStackCardGetCPUSubSystemPartInfo);
PCSIM_OPERATION(HalCardGetPartInfoFn, pcSimChassisCardGetCPUSubSystemPartInfo);
PCSIM_OPERATION(HalIsCardHwPresentFn, pcSimIsCardHwPresent);
PCSIM_OPERATION(HalCardPowerEnableFn, pcSimCardPowerEnable);
PCSIM_OPERATION(HalCardRunExtPostFn, pcSimCardRunExtPost);
PCSIM_OPERATION(HalCardStartDownloadFn, pcSimCardStartDownload);
PCSIM_OPERATION(HalCardStartBootingFn, pcSimCardStartBooting);
PCSIM_OPERATION(HalCardDiagnosticsRunFn, pcSimCardDiagnosticsRun);
PCSIM_OPERATION(HalCardDiagnosticsGetResultFn, pcSimCardDiagnosticsGetResult);
PCSIM_OPERATION(HalDelayRelyCallbackFn, pcSimDelayRelyCallback);
PCSIM_OPERATION(HalInitFn, pcSimInit);
PCSIM_OPERATION(HalCardInitFn, pcSimCardInit);
PCSIM_OPERATION(HalCardCleanupFn, pcSimCardCleanup);
PCSIM_OPERATION(HalCardPowerOnCheckFn, pcSimCardPowerOnCheck);
PCSIM_OPERATION(HalCardReadTemperatureFn, pcSimCardReadTemperature);
PCSIM_OPERATION(HalCardGetOdometerFn, pcSimCardGetOdometer);
PCSIM_OPERATION(HalCardInternalLinkEnableFn, pcSimCardInternalLinkEnable);
PCSIM_OPERATION(HalCardInternalLinkConfigLoadSharingFn, pcSimCardInternalLinkConfigLoadSharing);
PCSIM_OPERATION(HalMacIntEnableFn, pcSimMacIntEnable);
PCSIM_OPERATION(HalMacIntrGetMaskFn, pcSimMacIntrGetMask);
PCSIM_OPERATION(HalCardLinkIntrEnableFn, pcSimCardLinkIntrEnable);
PCSIM_OPERATION(HalCardLinkIntrMaskFn, pcSimCardLinkIntrMask);
PCSIM_OPERATION(HalStubFn, pcSimCardOffline);
PCSIM_OPERATION(HalStubFn, pcSimCardOptionEnable);
PCSIM_OPERATION(HalStubFn, pcSimCardLEDSet);
PCSIM_OPERATION(HalStubFn, pcSimCardSetOdometer);
PCSIM_OPERATION(HalStubFn, pcSimCardInitOdometer);
PCSIM_OPERATION(HalStubFn, pcSimMirEnable);
PCSIM_OPERATION(HalStubFn, pcSimMirCfgPort);
PCSIM_OPERATION(HalStubFn, pcSimMirVlanCfgPort);
PCSIM_OPERATION(HalStubFn, pcSimMirTrunkCfgPort);

PCSIM_END_DECLS

#endif
