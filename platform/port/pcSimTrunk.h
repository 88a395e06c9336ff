// Trunk operations. The platform keeps nothing about trunks: handles are those of pifs, members are
// accepted, and the one walk reads the HAL's own pif records. The contracts are at the operations'
// types in include/pcsim/trunk.h.
#ifndef PCSIM_PORT_PCSIMTRUNK_H
#define PCSIM_PORT_PCSIMTRUNK_H

#include "pcsim/trunk.h"
#include "platform/base/stub.h"

// clang-format off
extern "C" {
PCSIM_EXPORT int32_t pcSimTrunkCreate(const HalPif* trunk, HalHwHandle** handle) noexcept;
PCSIM_EXPORT int32_t pcSimTrunkDelete(const HalPif* trunk, HalHwHandle** handle) noexcept;
PCSIM_EXPORT int32_t pcSimTrunkAddPorts(const HalPif* trunk, uint32_t portCount, const uint32_t* portInstances, uint32_t flag) noexcept;
PCSIM_EXPORT int32_t pcSimTrunkConfigAddrAlgo(uint32_t algorithm) noexcept;
PCSIM_EXPORT int32_t pcSimSyncLoadShareAddrAlgoSlot(uint32_t slot, uint32_t algorithm, uint32_t ignored) noexcept;
PCSIM_EXPORT int32_t pcSimTrunkSyncSlot(uint32_t slot) noexcept;

// Accepted and ignored, whatever the arguments: 0.
#define PCSIM_TRUNK_STUBS(STUB)       \
    STUB(pcSimTrunkDelPorts)          \
    STUB(pcSimTrunkLinkChange)        \
    STUB(pcSimVlanAddTrunkPort)       \
    STUB(pcSimVlanDelTrunkPort)       \
    STUB(pcSimVlanChangeTagTrunkPort) \
    STUB(pcSimTrunkConfigLoadSharing) \
    STUB(pcSimTrunkSetForwardingState) \
    STUB(pcSimSyncVlanAddTrunk)       \
    STUB(pcSimCfgInterfacePortStateControl)
PCSIM_TRUNK_STUBS(PCSIM_DECLARE_STUB)
}
// clang-format on

#endif
