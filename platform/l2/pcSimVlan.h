// VLANs, ports and memberships: the HAL's records get a hardware handle, everything else is traced.
//
// A handle is a 4-byte heap block. It is the HAL's from create to delete; nothing is kept here.
// Trunks use the pif operations as they are. Contracts are in pcsim/l2.h.
#ifndef PCSIM_L2_PCSIMVLAN_H
#define PCSIM_L2_PCSIMVLAN_H

#include "pcsim/l2.h"
#include "platform/base/stub.h"

// Accepted and ignored: deferred updates, tag changes, quality of service, nested VLANs, virtual
// routers.
// clang-format off
#define PCSIM_VLAN_STUBS(STUB) \
    STUB(pcSimCardVlanDeferUpdateStart) \
    STUB(pcSimCardVlanDeferUpdateEnd) \
    STUB(pcSimCardVlanSyncSlot) \
    STUB(pcSimCardVlanBeginSync) \
    STUB(pcSimVlanChangeTag) \
    STUB(pcSimCardVpifChangeTag) \
    STUB(pcSimVlanCfgIpAddr) \
    STUB(pcSimVlanCfgSubvlan) \
    STUB(pcSimPortCfgQosProfile) \
    STUB(pcSimPortCfgIngressQosProfile) \
    STUB(pcSimConfigDot1pQos) \
    STUB(pcSimConfigDiffservQos) \
    STUB(pcSimUnconfigDiffservQos) \
    STUB(pcSimPortEnableDiffservQos) \
    STUB(pcSimConfigPortQos) \
    STUB(pcSimPortEnableDot1pExamine) \
    STUB(pcSimPortEnableDot1pReplace) \
    STUB(pcSimConfigDiffservReplace) \
    STUB(pcSimPortEnableDiffservReplace) \
    STUB(pcSimVlanConfigVlanQos) \
    STUB(pcSimConfigVManEthertype) \
    STUB(pcSimConfigVManPort) \
    STUB(pcSimVrCreate) \
    STUB(pcSimVrDelete) \
    STUB(pcSimCfgVrAndVlan)
// clang-format on

#endif
