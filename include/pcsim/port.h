/* Ports as the HAL sees them: configuration, state, link and counters of each front-panel port and
 * of the own slot's management port, and the operations that drive them.
 *
 * A port is named by its port instance (host_records.h). The front-panel port behind it is one of
 * the PC's interfaces, "ethN" with N = halGetHwPortMapping(slot, port); the management port is
 * "eth0". Link, speed and duplex are read from the interface's PHY, counters from "/proc/net/dev".
 *
 * The per-port tables cover slots 0 to 10 and ports 0 to 256. An instance outside them is never an
 * error of the process: a query of a table answers as for an absent or not disabled port, a change
 * of one does nothing. Restart and shutdown look at no table and act on whatever interface the host
 * maps the port to. Pointers must be valid unless said otherwise; nothing is kept.
 *
 * Thread: any of the HAL's, one call into the port tables at a time; the link poll and the
 * completions of forwarding states come from its timer and task contexts and count as such
 * calls. */
#ifndef PCSIM_PORT_H
#define PCSIM_PORT_H

#include "pcsim/base.h"
#include "pcsim/host.h"

PCSIM_BEGIN_DECLS

#define PCSIM_PORT_SLOTS 11u
#define PCSIM_PORTS_PER_SLOT 257u

/* Speed codes, of the link query and of the auto-negotiation record. */
#define HAL_PORT_SPEED_10 1u
#define HAL_PORT_SPEED_100 2u
#define HAL_PORT_SPEED_1000 3u
#define HAL_PORT_SPEED_10000 4u

/* What the HAL asks of a port's auto-negotiation. Owned by the caller, read during the call. */
typedef struct HalPortAutoNeg {
    PCSIM_IS(ignored) uint32_t word0;    /* 0: not read */
    PCSIM_IS(flag) uint32_t on;          /* 4: auto-negotiation on (non-zero) or off */
    uint32_t speed;                      /* 8: HAL_PORT_SPEED_... */
    PCSIM_IS(flag) uint32_t fullDuplex;  /* 12: non-zero for full */
    PCSIM_IS(flag) uint32_t speedGiven;  /* 16: with auto-negotiation on, 'speed' counts */
    PCSIM_IS(flag) uint32_t duplexGiven; /* 20: with auto-negotiation on, 'fullDuplex' counts */
} HalPortAutoNeg;

/* Media of a port that may have two connectors. */
typedef struct HalPortMediaType {
    uint32_t primary;   /* 0 */
    uint32_t redundant; /* 4 */
} HalPortMediaType;

/* Counters of one port. The platform fills the named counters alone; the rest is the host's.
 * Each counter is measured from a baseline and wraps at 2^64. */
typedef struct PortStatsRecord {
    uint8_t reserved0[4];
    HalCounter64 receivedPackets; /* 4 */
    uint8_t reserved12[8];
    HalCounter64 receivedMulticastPackets; /* 20 */
    uint8_t reserved28[72];
    HalCounter64 receivedBytes; /* 100: reported with four frame-check bytes per packet */
    uint8_t reserved108[8];
    HalCounter64 transmittedBytes;   /* 116: reported with four frame-check bytes per packet */
    HalCounter64 transmittedPackets; /* 124 */
    uint8_t reserved132[160];
    HalCounter64 receiveDrops;       /* 292: kept, never reported */
    HalCounter64 receiveFrameErrors; /* 300 */
    HalCounter64 counter308;         /* 308: reported, always 0 */
    HalCounter64 counter316;         /* 316: reported, always 0 */
    HalCounter64 receiveFifoErrors;  /* 324: kept, never reported */
    uint8_t reserved332[8];
    HalCounter64 receiveErrors;  /* 340 */
    HalCounter64 transmitDrops;  /* 348: a zeroing leaves it counting */
    HalCounter64 transmitErrors; /* 356 */
    uint8_t reserved364[16];
    HalCounter64 collisions; /* 380 */
    uint8_t reserved388[808];
} PortStatsRecord;

/* --- Tables, open to the host and to debuggers ------------------------------------------------ */

/* Bit of a portInfo byte: the port is administratively disabled. The other bits are never set. */
#define PCSIM_PORT_DISABLED 0x01u

/* State of each port, all zero at load. Port 0 of a slot is not one of its ports. */
extern PCSIM_API uint8_t portInfo[PCSIM_PORT_SLOTS][PCSIM_PORTS_PER_SLOT];
/* The latest reading of each port's counters, and the baseline that reports are measured from.
 * All zero at load. */
extern PCSIM_API PortStatsRecord currstats[PCSIM_PORT_SLOTS][PCSIM_PORTS_PER_SLOT];
extern PCSIM_API PortStatsRecord prevstats[PCSIM_PORT_SLOTS][PCSIM_PORTS_PER_SLOT];
/* The datagram socket of all port requests: -1 until the first operation that needs it opens it,
 * then kept for the life of the process. */
extern PCSIM_API int32_t skfd;

/* --- Operations ----------------------------------------------------------------------------------
 * All return 0 on success and -1 on failure unless said otherwise. What is accepted and ignored
 * here says so in the event log, as information of the 'Port' component, or on standard output
 * where its comment says that it is printed; operations that the table types as HalStubFn do
 * neither. */

/* Whether 'portInstance' has been disabled: 1 or 0. Live. */
typedef int32_t HalIsPortDisabledFn(HalPortInstance portInstance);

/* The HAL is about to update, or has updated, the ports of 'slot'. Accepted and ignored. */
typedef int32_t HalCardDeferUpdatePortStartFn(uint32_t slot, uint32_t syncNumber);
typedef int32_t HalCardDeferUpdatePortEndFn(uint32_t slot, uint32_t syncNumber);

/* Enables (non-zero) or disables a front-panel port: marks it in portInfo and restarts or silences
 * its PHY, so that the far end sees the link come or go. The result does not tell how the PHY took
 * it. -1 for a slot or port outside the tables, and then nothing changes. 0 for other port types,
 * which are not touched. Live. */
typedef int32_t HalCardPortEnableFn(HalPortInstance portInstance, PCSIM_IS(flag) uint32_t enable);

/* Jumbo frames of 'frameSize' bytes on (non-zero) or off. Accepted and ignored. */
typedef int32_t HalCardPortEnableJumboFn(HalPortInstance portInstance,
                                         PCSIM_IS(flag) uint32_t enable, uint32_t frameSize);

/* The wanted speed and duplex are traced and printed; the PHY keeps what it has. Accepted and
 * ignored. */
typedef int32_t HalCardPortConfigAutoNegFn(HalPortInstance portInstance,
                                           const HalPortAutoNeg* config);

/* Resets the port's PHY, which then advertises its default abilities. -1 when the PHY can't be
 * reached. Live. */
typedef int32_t HalCardPortRestartFn(HalPortInstance portInstance);

/* Makes the port's PHY advertise nothing and renegotiate, which keeps the link down until a
 * restart. -1 when the PHY can't be reached; remaining steps are skipped. Live. */
typedef int32_t HalCardPortShutDownFn(HalPortInstance portInstance);

/* 'mac', the 6-byte address of the router on this port, is printed. Accepted and ignored. */
typedef int32_t HalCardPortSetRouterAddressFn(HalPortInstance portInstance,
                                              PCSIM_IS(mac, elements 6) const uint8_t* mac);

/* The HAL has seen the link of a front-panel port come up ('state' 1) or go down (0). Accepted and
 * ignored. */
typedef int32_t HalCardPortLinkChangeFn(HalPortInstance portInstance, uint32_t state);

/* Receiver on (non-zero) or off. Accepted and ignored. */
typedef int32_t HalCardPortEnableRcvFn(HalPortInstance portInstance,
                                       PCSIM_IS(flag) uint32_t enable);

/* The colour of the port's link LED. Accepted and ignored. */
typedef int32_t HalCardPortSetLinkLEDFn(HalPortInstance portInstance, uint32_t color);

/* The HAL sets the spanning-tree state of a port in a group; the state is not stored. With a
 * 'callback', completion is reported by a task, with delay 50 (in the unit of halScheduleTask,
 * which is the host's), as callback(argument1, argument2, 0, 0), and the result is 1. The first
 * callback ever given is the one that runs; another one is refused with a printed line. Without a
 * callback the result is 0. Simulated. */
typedef int32_t HalCardPortSetForwardingStateFn(HalPortInstance portInstance, uint32_t group,
                                                PCSIM_IS(ignored) uint32_t ignored1,
                                                PCSIM_IS(ignored) uint32_t ignored2,
                                                PCSIM_IS(ignored) uint32_t ignored3,
                                                PCSIM_IS(kept, null) HalCompletionFn* callback,
                                                uint32_t argument1, uint32_t argument2);

/* Stores 3 (forwarding) in '*state', whatever has been set. Constant. */
typedef int32_t HalCardPortGetForwardingStateFn(HalPortInstance portInstance,
                                                PCSIM_IS(ignored) uint32_t ignored,
                                                PCSIM_IS(out) uint32_t* state);

/* The mirrored or forwarding state of a port whose card came back. Accepted and ignored. */
typedef int32_t HalCardPortSyncSetMirroredStateFn(HalPortInstance portInstance);
typedef int32_t HalCardPortSyncSetForwardingStateFn(HalPortInstance portInstance);

/* The interrupt status of a port: 1. Constant. */
typedef int32_t HalCardPortGetIntStatusFn(void);

/* The VLAN that the port is to count for. Accepted and ignored. */
typedef int32_t HalCardPortConfigVlanStatFn(HalPortInstance portInstance,
                                            PCSIM_IS(vlan) uint32_t vlanId);

/* The inter-packet gap. Accepted and ignored. */
typedef int32_t HalCardPortConfigIPGFn(HalPortInstance portInstance, uint32_t gap);

/* Primary 4, redundant 0. The values that the record held on entry show up in the trace. -1 for
 * trunks and the other logical port types, the record untouched. Constant. */
typedef int32_t HalCardPortGetMediaTypeFn(HalPortInstance portInstance, HalPortMediaType* media);

/* The link of a front-panel port or of the management port, from the PHY of its interface:
 * '*link' 1 up, 0 down; '*duplex' 1 full, 0 half; '*speed' HAL_PORT_SPEED_10 or _100;
 * '*flowControl' 3 with pause negotiated on a full-duplex link, else 0; '*extra' always 0.
 * A disabled port is down without a look at its PHY, its other outputs as they were. A port without
 * an interface is down, the outputs 0. -1 for other port types, without a socket, when the PHY
 * can't be read and when both ends share no 10 or 100 Mbps ability; outputs not yet known stay as
 * they were ('*link' is 0 from the start and 1 once the PHY has said so).
 * The library's own poll asks once a second for the own slot's management port alone. Live. */
typedef int32_t HalCardPortLinkInfoFn(HalPortInstance portInstance, PCSIM_IS(out) uint32_t* link,
                                      PCSIM_IS(out) uint32_t* duplex, PCSIM_IS(out) uint32_t* speed,
                                      PCSIM_IS(out) uint32_t* flowControl,
                                      PCSIM_IS(out) uint32_t* extra);

/* Reads the port's counters and stores in 'out' what they have grown since the baseline.
 * 0 with 'out' untouched while the link is down, for logical ports and for the management port of
 * another slot. -1, with a message, for a port outside the tables and when the kernel's table can't
 * be opened. Live. */
typedef int32_t HalCardPortGetStatsFn(HalPortInstance portInstance,
                                      PCSIM_IS(out) PortStatsRecord* out);

/* The same, but the baseline first moves to the previous reading, so that 'out' has the growth
 * since the last statistics call of either kind. Live. */
typedef int32_t HalCardPortGetStatsReadClearFn(HalPortInstance portInstance,
                                               PCSIM_IS(out) PortStatsRecord* out);

/* Makes the latest reading the baseline, transmit drops excepted; the kernel's table is not read.
 * Port 0 stands for ports 1 to 256 of the slot. 0 for logical ports; -1, with a message, outside
 * the tables. Live. */
typedef int32_t HalCardPortZeroStatsFn(HalPortInstance portInstance);

/* --- What serves the operations --------------------------------------------------------------- */

/* Enables ports 1 to 256 of 'slot'; the initialisation of a card calls it. Always 0, also for a
 * slot without ports. Live. */
typedef int32_t HalPortInitFn(uint32_t slot);

/* The task of a forwarding-state completion: runs the registered callback with the two arguments
 * and two zeros and returns its result, 0 when there is none. Simulated. Thread: the HAL's task
 * context. */
typedef HalTaskFn HalSetVpstCallbackFn;

/* Splits a line of "/proc/net/dev": copies the interface's name, which may be an alias such as
 * "eth0:1", to 'name' (as long as 'line', at least) and returns where the counters begin in 'line',
 * which is its end when it has none. Neither text may be null. Constant. */
typedef PCSIM_IS(text) char* HalProcNetDevSplitNameFn(PCSIM_IS(out, text) char* name,
                                                      PCSIM_IS(text) char* line);

/* --- Operations by name ----------------------------------------------------------------------- */

PCSIM_OPERATION(HalPortInitFn, pcSimPortInit);
PCSIM_OPERATION(HalIsPortDisabledFn, pcSimIsPortDisabled);
PCSIM_OPERATION(HalCardDeferUpdatePortStartFn, pcSimCardDeferUpdatePortStart);
PCSIM_OPERATION(HalCardDeferUpdatePortEndFn, pcSimCardDeferUpdatePortEnd);
PCSIM_OPERATION(HalCardPortEnableFn, pcSimCardPortEnable);
PCSIM_OPERATION(HalCardPortEnableJumboFn, pcSimCardPortEnableJumbo);
PCSIM_OPERATION(HalCardPortConfigAutoNegFn, pcSimCardPortConfigAutoNeg);
PCSIM_OPERATION(HalCardPortRestartFn, pcSimCardPortRestart);
PCSIM_OPERATION(HalCardPortShutDownFn, pcSimCardPortShutDown);
PCSIM_OPERATION(HalCardPortSetRouterAddressFn, pcSimCardPortSetRouterAddress);
PCSIM_OPERATION(HalCardPortLinkChangeFn, pcSimCardPortLinkChange);
PCSIM_OPERATION(HalCardPortEnableRcvFn, pcSimCardPortEnableRcv);
PCSIM_OPERATION(HalCardPortSetLinkLEDFn, pcSimCardPortSetLinkLED);
PCSIM_OPERATION(HalCardPortSetForwardingStateFn, pcSimCardPortSetForwardingState);
PCSIM_OPERATION(HalSetVpstCallbackFn, pcSimSetVpstCallback);
PCSIM_OPERATION(HalCardPortGetForwardingStateFn, pcSimCardPortGetForwardingState);
PCSIM_OPERATION(HalCardPortSyncSetMirroredStateFn, pcSimCardPortSyncSetMirroredState);
PCSIM_OPERATION(HalCardPortSyncSetForwardingStateFn, pcSimCardPortSyncSetForwardingState);
PCSIM_OPERATION(HalCardPortGetIntStatusFn, pcSimCardPortGetIntStatus);
PCSIM_OPERATION(HalCardPortConfigVlanStatFn, pcSimCardPortConfigVlanStat);
PCSIM_OPERATION(HalCardPortConfigIPGFn, pcSimCardPortConfigIPG);
PCSIM_OPERATION(HalCardPortGetMediaTypeFn, pcSimCardPortGetMediaType);
PCSIM_OPERATION(HalCardPortLinkInfoFn, pcSimCardPortLinkInfo);
PCSIM_OPERATION(HalCardPortGetStatsFn, pcSimCardPortGetStats);
PCSIM_OPERATION(HalCardPortGetStatsReadClearFn, pcSimCardPortGetStatsReadClear);
PCSIM_OPERATION(HalCardPortZeroStatsFn, pcSimCardPortZeroStats);
PCSIM_OPERATION(HalProcNetDevSplitNameFn, pcSimProcNetDevSplitName);
PCSIM_OPERATION(HalStubFn, pcSimCardPortProbe);
PCSIM_OPERATION(HalStubFn, pcSimCardPortFdbLearn);
PCSIM_OPERATION(HalStubFn, pcSimCardPortZeroVlanStats);
PCSIM_OPERATION(HalStubFn, pcSimCardPortGetVlanStats);
PCSIM_OPERATION(HalStubFn, pcSimCardPortEnableIntr);
PCSIM_OPERATION(HalStubFn, pcSimCardPortAckIntr);
PCSIM_OPERATION(HalStubFn, pcSimCardPortEnableMFilter);
PCSIM_OPERATION(HalStubFn, pcSimCardPortEnableNetlogin);
PCSIM_OPERATION(HalStubFn, pcSimCardPortNetloginAuthOptional);
PCSIM_OPERATION(HalStubFn, pcSimCardPortEnableMacBasedVlan);
PCSIM_OPERATION(HalStubFn, pcSimCardPortConfigAutoPolarity);
PCSIM_OPERATION(HalStubFn, pcSimCardVpifCfgMacSecurity);
PCSIM_OPERATION(HalStubFn, pcSimPortCfgEqosCosRemap);
PCSIM_OPERATION(HalStubFn, pcSimPortCfgHighPriCosVal);
PCSIM_OPERATION(HalStubFn, pcSimAddDelVlanToVr);
PCSIM_OPERATION(HalStubFn, pcSimAddDelPortToVr);

PCSIM_END_DECLS

#endif
