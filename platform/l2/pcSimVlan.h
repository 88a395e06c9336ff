// VLANs, ports and memberships: the HAL's records get a hardware handle, everything else is traced.
//
// A handle is a 4-byte heap block. It is the HAL's from create to delete; nothing is kept here.
// Trunks use the pif operations as they are. Contracts are in pcsim/l2.h.
#ifndef PCSIM_L2_PCSIMVLAN_H
#define PCSIM_L2_PCSIMVLAN_H

#include "pcsim/l2.h"
#include "platform/base/stub.h"

extern "C" {

PCSIM_EXPORT int32_t pcSimVlanIfCreate(const HalVlanIf* vlanIf, HalHwHandle** handle) noexcept;
PCSIM_EXPORT int32_t pcSimVlanIfDelete(const HalVlanIf* vlanIf, HalHwHandle** handle) noexcept;
PCSIM_EXPORT int32_t pcSimCardVlanCreate(int32_t slot, const HalVlanIf* vlanIf) noexcept;
PCSIM_EXPORT int32_t pcSimCardVlanDelete(int32_t slot, const HalVlanIf* vlanIf) noexcept;
PCSIM_EXPORT int32_t pcSimCardVlanAddPort(const HalVpif* vpif) noexcept;
PCSIM_EXPORT int32_t pcSimCardSyncVlanAddPort(const HalVpif* vpif) noexcept;
PCSIM_EXPORT int32_t pcSimCardVlanDeletePort(const HalVpif* vpif) noexcept;
PCSIM_EXPORT int32_t pcSimCardPifCreate(const HalPif* pif, HalHwHandle** handle) noexcept;
PCSIM_EXPORT int32_t pcSimCardPifDelete(const HalPif* pif, HalHwHandle** handle) noexcept;
PCSIM_EXPORT int32_t pcSimVpifCreate(const HalVpif* vpif, HalHwHandle** handle) noexcept;
PCSIM_EXPORT int32_t pcSimVpifDelete(const HalVpif* vpif, HalHwHandle** handle) noexcept;
PCSIM_EXPORT int32_t pcSimVlanOptionEnable(const HalVlanIf* vlanIf, int32_t option,
                                           int32_t enable) noexcept;
PCSIM_EXPORT int32_t pcSimCardVpifCfgProtocol(const HalPif* pif, const HalProtocolFilter* filter,
                                              uint16_t protocolType, uint16_t value,
                                              int32_t add) noexcept;

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

PCSIM_VLAN_STUBS(PCSIM_DECLARE_STUB)
}

#endif
