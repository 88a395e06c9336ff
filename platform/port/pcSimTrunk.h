// Trunk operations. The platform keeps nothing about trunks: handles are those of pifs, members are
// accepted, and the one walk reads the HAL's own pif records. The contracts are at the operations'
// types in include/pcsim/trunk.h.
#ifndef PCSIM_PORT_PCSIMTRUNK_H
#define PCSIM_PORT_PCSIMTRUNK_H

#include "pcsim/trunk.h"
#include "platform/base/stub.h"

// clang-format off
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
// clang-format on

#endif
