/* Packet sampling (sFlow) and power over Ethernet.
 *
 * Neither has hardware behind it. Sampling calls print a line on standard output, and a read of the
 * counters returns three process-wide numbers that grow with every read. PoE queries answer at once
 * with constant messages through replyHandleSend (handle 'poeHandle', message HAL_REPLY_POE, flag
 * 1); PoE settings are accepted and ignored. All operations return 0. Reserved bytes of messages
 * are 0; words without a name are the HAL's own. Integers are little-endian.
 *
 * Thread: any of the HAL's; sampling one call at a time, as the ports share the counters. */
#ifndef PCSIM_MISC_H
#define PCSIM_MISC_H

#include "pcsim/base.h"

PCSIM_BEGIN_DECLS

/* --- Sampling --------------------------------------------------------------------------------- */

/* The sampling counters, shared by all ports; 0 at load. */
extern PCSIM_API int32_t sampleFrames; /* grows by 100 with each read */
extern PCSIM_API int32_t sampleCount;  /* by 50 */
extern PCSIM_API int32_t samplePool;   /* by 10 */

typedef struct HalSamplePort {
    uint16_t port; /* 0 */
    uint16_t slot; /* 2 */
} HalSamplePort;

/* The sampling counters of one port. Each 64-bit field holds a counter sign-extended; bytes without
 * a field are zeroed. */
typedef struct HalSampleCounters {
    HalCounter64 bytes;   /* 0: 8 times the frames */
    HalCounter64 frames8; /* 8: sampleFrames */
    HalCounter64 count16; /* 16: sampleCount */
    HalCounter64 pool24;  /* 24: samplePool */
    uint8_t reserved32[32];
    HalCounter64 frames64; /* 64: sampleFrames */
    HalCounter64 count72;  /* 72: sampleCount */
    HalCounter64 pool80;   /* 80: samplePool */
    uint8_t reserved88[20];
} HalSampleCounters;

/* Prints a line. Accepted and ignored. */
typedef int32_t HalAllocSampleBinFn(void);

/* Print a line that names 'port' (not null); nothing is remembered. Accepted and ignored. */
typedef int32_t HalSFLOWAddPortsForSampleFn(PCSIM_IS(ignored) uint32_t ignored,
                                            const HalSamplePort* port);
typedef int32_t HalSFLOWDelPortsForSampleFn(PCSIM_IS(ignored) uint32_t ignored,
                                            const HalSamplePort* port);

/* Advances the counters, fills 'record' (not null) with them and prints a line. 'port' is not
 * used. Simulated. */
typedef int32_t HalSFLOWGetCntSampleOnPortFn(PCSIM_IS(port key) uint32_t port,
                                             PCSIM_IS(out) HalSampleCounters* record);

/* --- Power over Ethernet ---------------------------------------------------------------------- */

#define HAL_POE_VERSION 3u
#define HAL_POE_PORT_DETAILS 6u
#define HAL_POE_PORT_INFO 9u
#define HAL_POE_SNMP_SLOT_INFO 12u
#define HAL_POE_SNMP_PORT_INFO 13u

/* What every reply begins with. */
typedef struct HalPoeHead {
    uint16_t type; /* 0: one of HAL_POE_... */
    uint16_t reserved2;
    uint32_t slot; /* 4 */
} HalPoeHead;

/* What every reply about a port begins with. */
typedef struct HalPoePortHead {
    HalPoeHead head; /* 0 */
    uint16_t port;   /* 8 */
    uint16_t slot;   /* 10 */
} HalPoePortHead;

typedef struct HalPoeVersion {
    HalPoeHead head; /* 0 */
    uint32_t word8;  /* 8: 1 */
    uint8_t reserved12[8];
    uint32_t word20; /* 20: 4 */
    uint8_t reserved24[8];
    uint32_t word32; /* 32: 4 */
    uint32_t word36; /* 36: 300 */
    uint32_t word40; /* 40: 200 */
    uint32_t word44; /* 44: 380 */
} HalPoeVersion;

typedef struct HalPoeSnmpSlotInfo {
    HalPoeHead head; /* 0 */
    uint8_t reserved8[4];
    uint32_t word12; /* 12: 1 */
    uint32_t word16; /* 16: 300 */
} HalPoeSnmpSlotInfo;

typedef struct HalPoeSnmpPortInfo {
    HalPoePortHead head; /* 0 */
    uint8_t reserved12[4];
    uint32_t word16; /* 16: 300 */
} HalPoeSnmpPortInfo;

typedef struct HalPoePortInfo {
    HalPoePortHead head; /* 0 */
    uint32_t word12;     /* 12: 1 */
    uint8_t reserved16[28];
} HalPoePortInfo;

typedef struct HalPoePortDetails {
    HalPoePortHead head; /* 0 */
    uint32_t value;      /* 12: as asked for */
    uint8_t byte16;      /* 16: 1 */
    uint8_t byte17;      /* 17: 1 */
    uint8_t reserved18[27];
    uint8_t byte45; /* 45: 3 */
    uint8_t reserved46[2];
} HalPoePortDetails;

/* Queries about a slot. The reply is sent before they return. Constant. */
typedef int32_t HalCardPoeGetVersionFn(uint32_t slot);
typedef int32_t HalCardPoeSNMPGetSlotInfoFn(uint32_t slot);

/* Queries about a port. The reply is sent before they return. 'port' is a port instance: bits 16 to
 * 23 are the slot, the low 16 bits the port; the rest is ignored. Constant. */
typedef int32_t HalCardPoeSNMPGetPortInfoFn(HalPortInstance port);
typedef int32_t HalCardPoePortInfoFn(HalPortInstance port);
typedef int32_t HalCardPoeGetPortDetailsFn(HalPortInstance port, uint32_t value);

/* Settings. Accepted and ignored. */
typedef HalStubFn HalCardPoeSlotEnableFn;
typedef HalStubFn HalCardPoeSlotDisableFn;
typedef HalStubFn HalCardPoeSlotEnableLegacyFn;
typedef HalStubFn HalCardPoeSlotDisableLegacyFn;
typedef HalStubFn HalCardPoeSetUsageThresholdFn;
typedef HalStubFn HalCardPoeSetDisconnectModeFn;
typedef HalStubFn HalCardPoeSetPowerSlotFn;
typedef HalStubFn HalCardPoePortEnableFn;
typedef HalStubFn HalCardPoePortDisableFn;
typedef HalStubFn HalCardPoeGetPortStateFn;
typedef HalStubFn HalCardPoeSetPortValueFn;

/* --- Operations by name ----------------------------------------------------------------------- */

PCSIM_OPERATION(HalAllocSampleBinFn, pcSimAllocSampleBin);
PCSIM_OPERATION(HalSFLOWAddPortsForSampleFn, pcSimSFLOWAddPortsForSample);
PCSIM_OPERATION(HalSFLOWDelPortsForSampleFn, pcSimSFLOWDelPortsForSample);
PCSIM_OPERATION(HalSFLOWGetCntSampleOnPortFn, pcSimSFLOWGetCntSampleOnPort);
PCSIM_OPERATION(HalCardPoeGetVersionFn, pcSimCardPoeGetVersion);
PCSIM_OPERATION(HalCardPoeSNMPGetSlotInfoFn, pcSimCardPoeSNMPGetSlotInfo);
PCSIM_OPERATION(HalCardPoeSNMPGetPortInfoFn, pcSimCardPoeSNMPGetPortInfo);
PCSIM_OPERATION(HalCardPoePortInfoFn, pcSimCardPoePortInfo);
PCSIM_OPERATION(HalCardPoeGetPortDetailsFn, pcSimCardPoeGetPortDetails);
PCSIM_OPERATION(HalCardPoeSlotEnableFn, pcSimCardPoeSlotEnable);
PCSIM_OPERATION(HalCardPoeSlotDisableFn, pcSimCardPoeSlotDisable);
PCSIM_OPERATION(HalCardPoeSlotEnableLegacyFn, pcSimCardPoeSlotEnableLegacy);
PCSIM_OPERATION(HalCardPoeSlotDisableLegacyFn, pcSimCardPoeSlotDisableLegacy);
PCSIM_OPERATION(HalCardPoeSetUsageThresholdFn, pcSimCardPoeSetUsageThreshold);
PCSIM_OPERATION(HalCardPoeSetDisconnectModeFn, pcSimCardPoeSetDisconnectMode);
PCSIM_OPERATION(HalCardPoeSetPowerSlotFn, pcSimCardPoeSetPowerSlot);
PCSIM_OPERATION(HalCardPoePortEnableFn, pcSimCardPoePortEnable);
PCSIM_OPERATION(HalCardPoePortDisableFn, pcSimCardPoePortDisable);
PCSIM_OPERATION(HalCardPoeGetPortStateFn, pcSimCardPoeGetPortState);
PCSIM_OPERATION(HalCardPoeSetPortValueFn, pcSimCardPoeSetPortValue);

PCSIM_END_DECLS

#endif
