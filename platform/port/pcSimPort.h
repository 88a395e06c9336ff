// Port operations: configuration and state, link query, statistics. The contracts are at the
// operations' types in include/pcsim/port.h.
//
// Of a port the platform keeps one state byte (portInfo) and two counter records (currstats and
// prevstats), all in tables of slots 0 to 10 and ports 0 to 256 that live as long as the library.
// portRow() below is the one place that indexes them. Everything else about a port is asked of its
// interface when the HAL asks.
#ifndef PCSIM_PORT_PCSIMPORT_H
#define PCSIM_PORT_PCSIMPORT_H

#include "pcsim/host_records.h"
#include "pcsim/port.h"
#include "platform/base/stub.h"

// clang-format off
extern "C" {
// Called for each slot when its card is initialised: enables ports 1 to 256 of 'slot'. Returns 0,
// also for a slot without ports.
PCSIM_EXPORT int32_t pcSimPortInit(uint32_t slot) noexcept;
PCSIM_EXPORT int32_t pcSimIsPortDisabled(uint32_t portInstance) noexcept;

PCSIM_EXPORT int32_t pcSimCardDeferUpdatePortStart(uint32_t slot, uint32_t syncNumber) noexcept;
PCSIM_EXPORT int32_t pcSimCardDeferUpdatePortEnd(uint32_t slot, uint32_t syncNumber) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortEnable(uint32_t portInstance, uint32_t enable) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortEnableJumbo(uint32_t portInstance, uint32_t enable, uint32_t frameSize) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortConfigAutoNeg(uint32_t portInstance, const HalPortAutoNeg* config) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortRestart(uint32_t portInstance) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortShutDown(uint32_t portInstance) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortSetRouterAddress(uint32_t portInstance, const uint8_t* mac) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortLinkChange(uint32_t portInstance, uint32_t state) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortEnableRcv(uint32_t portInstance, uint32_t enable) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortSetLinkLED(uint32_t portInstance, uint32_t color) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortSetForwardingState(
    uint32_t portInstance, uint32_t group, uint32_t ignored1, uint32_t ignored2, uint32_t ignored3,
    HalCompletionFn* callback, uint32_t argument1, uint32_t argument2) noexcept;
// The task of a forwarding-state completion: runs the registered callback and returns its result;
// 0 without one.
PCSIM_EXPORT int32_t pcSimSetVpstCallback(uint32_t argument1, uint32_t argument2) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortGetForwardingState(uint32_t portInstance, uint32_t ignored, uint32_t* state) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortSyncSetMirroredState(uint32_t portInstance) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortSyncSetForwardingState(uint32_t portInstance) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortGetIntStatus() noexcept;
PCSIM_EXPORT int32_t pcSimCardPortConfigVlanStat(uint32_t portInstance, uint32_t vlanId) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortConfigIPG(uint32_t portInstance, uint32_t gap) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortGetMediaType(uint32_t portInstance, HalPortMediaType* media) noexcept;

PCSIM_EXPORT int32_t pcSimCardPortLinkInfo(uint32_t portInstance, uint32_t* link, uint32_t* duplex,
                                           uint32_t* speed, uint32_t* flowControl,
                                           uint32_t* extra) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortGetStats(uint32_t portInstance, PortStatsRecord* out) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortGetStatsReadClear(uint32_t portInstance, PortStatsRecord* out) noexcept;
PCSIM_EXPORT int32_t pcSimCardPortZeroStats(uint32_t portInstance) noexcept;

// Accepted and ignored, whatever the arguments: 0.
#define PCSIM_PORT_STUBS(STUB)              \
    STUB(pcSimCardPortProbe)                \
    STUB(pcSimCardPortFdbLearn)             \
    STUB(pcSimCardPortZeroVlanStats)        \
    STUB(pcSimCardPortGetVlanStats)         \
    STUB(pcSimCardPortEnableIntr)           \
    STUB(pcSimCardPortAckIntr)              \
    STUB(pcSimCardPortEnableMFilter)        \
    STUB(pcSimCardPortEnableNetlogin)       \
    STUB(pcSimCardPortNetloginAuthOptional) \
    STUB(pcSimCardPortEnableMacBasedVlan)   \
    STUB(pcSimCardPortConfigAutoPolarity)   \
    STUB(pcSimCardVpifCfgMacSecurity)       \
    STUB(pcSimPortCfgEqosCosRemap)          \
    STUB(pcSimPortCfgHighPriCosVal)         \
    STUB(pcSimAddDelVlanToVr)               \
    STUB(pcSimAddDelPortToVr)
PCSIM_PORT_STUBS(PCSIM_DECLARE_STUB)
}
// clang-format on

namespace pcsim {

// The fields of a port instance.
constexpr uint32_t portTypeOf(uint32_t portInstance) noexcept {
    return portInstance >> 24;
}
constexpr uint32_t portSlotOf(uint32_t portInstance) noexcept {
    return (portInstance >> 16) & 0xFF;
}
constexpr uint32_t portNumberOf(uint32_t portInstance) noexcept {
    return portInstance & 0xFFFF;
}

// Types 1, 3, 4 and 5: trunks and other logical ports, which have neither medium nor counters.
constexpr bool isLogicalPort(uint32_t portInstance) noexcept {
    const uint32_t type = portTypeOf(portInstance);
    return type == HAL_PORT_TYPE_TRUNK || (type >= 3 && type <= 5);
}

// The entry of a port in one of the per-port tables, null when the tables have no such port.
template <typename Entry>
Entry* portRow(Entry (&table)[PCSIM_PORT_SLOTS][PCSIM_PORTS_PER_SLOT], uint32_t slot,
               uint32_t number) noexcept {
    if (slot >= PCSIM_PORT_SLOTS || number >= PCSIM_PORTS_PER_SLOT) return nullptr;
    return &table[slot][number];
}

}  // namespace pcsim

#endif
