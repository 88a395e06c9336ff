// The operations of VLANs, ports and memberships.
#include "platform/l2/pcSimVlan.h"

#include <cstdio>
#include <cstdlib>

#include "platform/base/trace.h"

namespace pcsim {
namespace {

constexpr uint32_t kVlanIfHandleValue = 1;

// Creates never fail: without memory the HAL gets a null handle, which the delete leaves alone.
int32_t createHandle(HalHwHandle** handle, uint32_t value) noexcept {
    auto* block = static_cast<HalHwHandle*>(std::calloc(1, sizeof(HalHwHandle)));
    if (block != nullptr) *block = value;
    *handle = block;
    return 0;
}

// Frees what the HAL hands back, even when its record names another one: the record's handle may be
// in use elsewhere. 'number' only tells the message of one operation from another's.
int32_t releaseHandle(HalHwHandle** handle, HalHwHandle* const* recorded, const char* operation,
                      int number) noexcept {
    HalHwHandle* const passedHandle = handle != nullptr ? *handle : nullptr;
    HalHwHandle* const recordedHandle = recorded != nullptr ? *recorded : nullptr;
    if (passedHandle != recordedHandle) {
        std::printf("%s-%d Macro problem %p %p\n", operation, number,
                    static_cast<void*>(passedHandle), static_cast<void*>(recordedHandle));
    }
    if (passedHandle != nullptr) {
        std::free(passedHandle);
        *handle = nullptr;
    }
    return 0;
}

// A port joins a VLAN: by configuration, or again when its card is back.
int32_t traceAddPort(const char* operation, const HalVpif* vpif) noexcept {
    TRACE_VLAN_AS(operation, "Add port for %d port %d - tag %d fwdState: %d.", vpif->pif->slot,
                  vpif->pif->port, (vpif->flags & HAL_VPIF_TAGGED) != 0 ? 1 : 0,
                  static_cast<int>(vpif->state & HAL_VPIF_FORWARDING_STATE));
    return 0;
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t pcSimVlanIfCreate(const HalVlanIf* vlanIf, HalHwHandle** handle) noexcept {
    TRACE_VLAN("Creating hw vlanIf port for vlanId %d.", vlanIf->vlanId);
    return createHandle(handle, kVlanIfHandleValue);
}

int32_t pcSimVlanIfDelete(const HalVlanIf* vlanIf, HalHwHandle** handle) noexcept {
    // "pif" is what the HAL's logs have always shown here.
    TRACE_VLAN("Deleting hw pif port for vlanId %d.", vlanIf->vlanId);
    return releaseHandle(handle, vlanIf->hwHandle, "pcSimVlanIfDelete", 205);
}

int32_t pcSimCardVlanCreate(int32_t slot, const HalVlanIf* vlanIf) noexcept {
    TRACE_VLAN("Create vlan id %d for slot %d.", vlanIf->vlanId, slot);
    return 0;
}

int32_t pcSimCardVlanDelete(int32_t slot, const HalVlanIf* vlanIf) noexcept {
    TRACE_VLAN("Delete vlan %d for slot %d.", vlanIf->vlanId, slot);
    return 0;
}

int32_t pcSimCardVlanAddPort(const HalVpif* vpif) noexcept {
    return traceAddPort(__func__, vpif);
}

int32_t pcSimCardSyncVlanAddPort(const HalVpif* vpif) noexcept {
    return traceAddPort(__func__, vpif);
}

int32_t pcSimCardVlanDeletePort(const HalVpif* vpif) noexcept {
    TRACE_VLAN("Delete port for slot %d port %d.", vpif->pif->slot, vpif->pif->port);
    return 0;
}

int32_t pcSimCardPifCreate(const HalPif* pif, HalHwHandle** handle) noexcept {
    TRACE_VLAN("Creating hw pif port for slot %d port %d.", pif->slot, pif->port);
    return createHandle(handle, 0);
}

int32_t pcSimCardPifDelete(const HalPif* pif, HalHwHandle** handle) noexcept {
    TRACE_VLAN("Deleting hw pif port for slot %d port %d.", pif->slot, pif->port);
    return releaseHandle(handle, pif->hwHandle, "pcSimCardPifDelete", 536);
}

int32_t pcSimVpifCreate(const HalVpif* vpif, HalHwHandle** handle) noexcept {
    TRACE_VLAN("Creating hw vpif port for slot %d port %d vlanId %d.", vpif->pif->slot,
               vpif->pif->port, vpif->vlanIf->vlanId);
    return createHandle(handle, 0);
}

int32_t pcSimVpifDelete(const HalVpif* vpif, HalHwHandle** handle) noexcept {
    TRACE_VLAN("Deleting hw vpif port for slot %d port %d vlanId %d.", vpif->pif->slot,
               vpif->pif->port, vpif->vlanIf->vlanId);
    return releaseHandle(handle, vpif->hwHandle, "pcSimVpifDelete", 615);
}

int32_t pcSimVlanOptionEnable(const HalVlanIf* vlanIf, int32_t option, int32_t enable) noexcept {
    TRACE_VLAN("%s vlan id(%d) option %d", enable != 0 ? "Enable" : "Disable", vlanIf->vlanId,
               option);
    return 0;
}

int32_t pcSimCardVpifCfgProtocol(const HalPif* pif, const HalProtocolFilter* filter,
                                 uint16_t protocolType, uint16_t value, int32_t add) noexcept {
    // Port before slot: reversed in this one message, as the HAL's logs have it.
    TRACE_VLAN("%s protocol type=%d value=0x%x on %d:%d tag %d", add != 0 ? "Add" : "Delete",
               protocolType, static_cast<unsigned>(value), pif->port, pif->slot,
               filter->flags148 & HAL_PROTOCOL_FILTER_TAGGED);
    return 0;
}

PCSIM_VLAN_STUBS(PCSIM_DEFINE_STUB)
}
