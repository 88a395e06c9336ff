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
