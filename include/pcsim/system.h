/* The system-operations table: what the HAL gets from platformSystemInit and reaches everything
 * else through. With it the chassis-information record and the record of the chassis's card types.
 *
 * A word that is null is a function the platform does not offer.
 *
 * Thread: the HAL's main thread, the entry point once at start-up before anything else. */
#ifndef PCSIM_SYSTEM_H
#define PCSIM_SYSTEM_H

#include "pcsim/base.h"
#include "pcsim/card.h"
#include "pcsim/device.h"
#include "pcsim/env.h"
#include "pcsim/host.h"

PCSIM_BEGIN_DECLS

/* --- Chassis information ---------------------------------------------------------------------- */

#define HAL_CHASSIS_MAC_COUNT 32

/* Where the MAC table comes from. */
#define HAL_MAC_SOURCE_SYSTEM 1u
#define HAL_MAC_SOURCE_PLACEHOLDER 2u

/* Identity of the chassis. The HAL's record; reserved bytes and bytes behind the NUL of a text are
 * never touched. Words without a name are the HAL's own; the platform gives them constants. */
typedef struct HalChassisInfo {
    PCSIM_IS(text) char modelName[8]; /* 0: NUL-terminated */
    uint8_t reserved8[24];
    /* 32: entry 0 is the system's; live */
    PCSIM_IS(mac) uint8_t macAddresses[HAL_CHASSIS_MAC_COUNT][6];
    uint8_t macSource; /* 224: HAL_MAC_SOURCE_... */
    uint8_t reserved225[3];
    uint32_t word228;                    /* 228 */
    uint32_t word232;                    /* 232 */
    PCSIM_IS(text) char description[32]; /* 236: NUL-terminated */
    PCSIM_IS(text) char serialNumber[8]; /* 268: NUL-terminated */
    uint8_t reserved276[8];
    PCSIM_IS(text) char partNumber[16]; /* 284: NUL-terminated */
    uint8_t byte300;                    /* 300 */
    uint8_t byte301;                    /* 301 */
    uint8_t reserved302[6];
    PCSIM_IS(varies) uint32_t timeStamp; /* 308: seconds since the epoch at the call; live */
    uint8_t reserved312[36];
    uint32_t word348; /* 348 */
    uint32_t word352; /* 352 */
    uint32_t word356; /* 356 */
    uint32_t word360; /* 360 */
    uint32_t word364; /* 364 */
    uint32_t word368; /* 368 */
    int32_t ownSlot;  /* 372: slot of the running system */
    uint32_t word376; /* 376 */
    uint32_t word380; /* 380 */
    uint8_t reserved384[4];
    uint32_t word388; /* 388 */
    uint32_t word392; /* 392 */
} HalChassisInfo;

/* Fills 'info' in place. Asks getSystemMac for the first entry of the MAC table: when it fails all
 * 32 entries become placeholders (five zero bytes and the entry's number), when it succeeds the
 * other 31 stay as they are. Always 0. 'info' must not be null. Constant but for the MAC addresses,
 * the own slot of a chassis and the time stamp. */
typedef int32_t HalChassisGetInfoFn(PCSIM_IS(out) HalChassisInfo* info);

/* --- Chassis capability ----------------------------------------------------------------------- */

/* Flags of a card type that a chassis takes. */
#define HAL_CARD_TYPE_IO 1u
#define HAL_CARD_TYPE_MANAGEMENT 2u

typedef struct HalCardTypeEntry {
    PCSIM_IS(text) char name[16]; /* 0: NUL-padded */
    uint32_t cardType;            /* 16: HAL_CARD_TYPE_... number */
    PCSIM_IS(hex) uint32_t flags; /* 20 */
} HalCardTypeEntry;

/* The card types that may sit in the chassis. */
typedef struct HalChassisCapability {
    PCSIM_IS(record size) uint32_t size;                   /* 0: of the whole record, in bytes */
    uint32_t entryCount;                                   /* 4 */
    PCSIM_IS(count entryCount) HalCardTypeEntry entries[]; /* 8 */
} HalChassisCapability;

/* A new record, which the HAL owns from now on and frees with free(). Null when there is no memory.
 * Constant. */
typedef PCSIM_IS(given) HalChassisCapability* HalChassisGetCapabilityFn(void);

/* --- Module control --------------------------------------------------------------------------- */

#define HAL_MODULE_SET_CARDS 0
#define HAL_MODULE_SET_FANS 1
#define HAL_MODULE_SET_POWER_SUPPLIES 2
#define HAL_MODULE_DEVICE_COMMAND 3

/* Makes units appear and disappear, and passes device command lines on. 'module' is not used.
 * 'argument' is, for the first three requests, a 32-bit presence mask (bit n: the unit or slot n is
 * there); for HAL_MODULE_DEVICE_COMMAND, the device command line. 0, whatever the device answers;
 * -2 for any other request, which changes nothing. Live. */
typedef int32_t HalModuleIoctlFn(PCSIM_IS(ignored) uint32_t module, int32_t request,
                                 PCSIM_IS(when request 0 HalPresenceMask,
                                          when request 1 HalPresenceMask,
                                          when request 2 HalPresenceMask,
                                          when request 3 HalDeviceCli) void* argument);

/* --- Checkpoints ------------------------------------------------------------------------------ */

/* Reports the checkpoint as complete at once, setCheckpointStats(0, 0, 100). Always 0. Constant. */
typedef int32_t HalCheckpointStartFn(void);

/* --- The table -------------------------------------------------------------------------------- */

/* 29 words, owned by the HAL, every one of them written. */
typedef struct HalSystemOps {
    void* reserved0;                                 /* word 0 */
    HalChassisGetInfoFn* chassisGetInfo;             /* word 1 */
    HalChassisGetCapabilityFn* chassisGetCapability; /* word 2 */
    HalModuleIoctlFn* moduleIoctl;                   /* word 3 */
    HalCardDBSetupFn* cardDBSetup;                   /* word 4 */
    HalCardSlotDBSetupFn* cardSlotDBSetup;           /* word 5 */
    HalFanDBSetupFn* fanDBSetup;                     /* word 6 */
    HalFanSlotDBSetupFn* fanSlotDBSetup;             /* word 7 */
    HalPSDBSetupFn* psDBSetup;                       /* word 8 */
    HalPSSlotDBSetupFn* psSlotDBSetup;               /* word 9 */
    void* reserved10[4];                             /* words 10 to 13 */
    HalStubFn* systemNop;                            /* word 14 */
    HalStubFn* systemShutdown;                       /* word 15 */
    void* reserved16[3];                             /* words 16 to 18 */
    HalGetDeviceCapabilityFn* getDeviceCapability;   /* word 19 */
    HalDeviceCommandFn* deviceCommand;               /* word 20 */
    HalStubFn* checkpointMsgHandler;                 /* word 21 */
    HalCheckpointStartFn* checkpointStart;           /* word 22 */
    HalStubFn* checkpointStop;                       /* word 23 */
    void* reserved24[5];                             /* words 24 to 28 */
} HalSystemOps;

/* The library's one entry point, called once at start-up. Initialises the platform in the shape
 * that dmGetPlatformType names and fills 'table'. Always 0. Live. */
typedef int32_t HalPlatformSystemInitFn(PCSIM_IS(out) HalSystemOps* table);

/* --- What serves the entry point -------------------------------------------------------------- */

/* Number of the PC's usable interfaces, eth1 upwards without a gap, as counted by the entry point;
 * 0 until then. A port that the host maps to a higher number is absent. Written by nothing else. */
extern PCSIM_API uint32_t pcSimSystemNumPorts;

/* Fills 'table' for one of the shapes; the last step of the entry point. Always 0. Constant. */
typedef int32_t HalSystemDBSetupFn(PCSIM_IS(out) HalSystemOps* table);

/* Counts the PC's interfaces, eth1 upwards without a gap and at most 100, with a socket of its own.
 * Live. */
typedef uint32_t HalGetSystemNumberPortsFn(void);

/* The slot that the running system occupies: what the environment (VORN_SLOT_ID) says, else 9 in a
 * chassis and 1 in a stackable. A host that has to name its own slot asks this. Live. */
typedef PCSIM_IS(slot) int32_t HalGetMySlotNumFn(void);

/* The poll of the management port's link, which the entry point starts with the own slot as its
 * argument: a change, and nothing else, goes to halNotifyLinkStateChange. There is one link flag
 * for the whole library. Live. Thread: the HAL's timer context, every 1000 ms. */
typedef HalTimerFn HalMgmtLinkPollFn;

/* --- Operations by name ----------------------------------------------------------------------- */
/* One name per shape where the shapes differ. The entry point calls one of the two that end in
 * SystemInit. */

PCSIM_OPERATION(HalPlatformSystemInitFn, platformSystemInit);
PCSIM_OPERATION(HalPlatformSystemInitFn, pcSimStackSystemInit);
PCSIM_OPERATION(HalPlatformSystemInitFn, pcSimChassisSystemInit);
PCSIM_OPERATION(HalSystemDBSetupFn, pcSimStackSystemDBSetup);
PCSIM_OPERATION(HalSystemDBSetupFn, pcSimChassisSystemDBSetup);
PCSIM_OPERATION(HalChassisGetInfoFn, pcSimStackChassisGetInfo);
PCSIM_OPERATION(HalChassisGetInfoFn, pcSimChassisChassisGetInfo);
PCSIM_OPERATION(HalChassisGetCapabilityFn, pcSimStackChassisGetCapability);
PCSIM_OPERATION(HalChassisGetCapabilityFn, pcSimChassisChassisGetCapability);
PCSIM_OPERATION(HalModuleIoctlFn, pcSimModuleIoctl);
PCSIM_OPERATION(HalCheckpointStartFn, pcSimCheckpointStart);
PCSIM_OPERATION(HalGetSystemNumberPortsFn, pcSimGetSystemNumberPorts);
PCSIM_OPERATION(HalGetMySlotNumFn, pcSimGetMySlotNum);
PCSIM_OPERATION(HalMgmtLinkPollFn, pcSimMgmtLinkPoll);
PCSIM_OPERATION(HalStubFn, pcSimSystemNop);
PCSIM_OPERATION(HalStubFn, pcSimSystemShutdown);
PCSIM_OPERATION(HalStubFn, pcSimCheckpointMsgHandler);
PCSIM_OPERATION(HalStubFn, pcSimCheckpointStop);

PCSIM_END_DECLS

#endif
