// The operations of trunks: handles of pifs, accepted members, and the walk over pif records.
#include "platform/port/pcSimTrunk.h"

#include <stdio.h>

#include "pcsim/host.h"
#include "platform/l2/pcSimVlan.h"
#include "platform/port/pcSimPort.h"

using pcsim::portTypeOf;

namespace {

// A front-panel port of 'slot' that is in a trunk.
bool isMemberOn(const HalPif& pif, uint32_t slot) noexcept {
    return pif.slot == slot && portTypeOf(pif.trunkInstance) == HAL_PORT_TYPE_TRUNK &&
           portTypeOf(pif.instance) == HAL_PORT_TYPE_FRONT_PANEL;
}

}  // namespace

extern "C" {

// A trunk's handle is a pif's, and so are the traces.
int32_t pcSimTrunkCreate(const HalPif* trunk, HalHwHandle** handle) noexcept {
    static_cast<void>(pcSimCardPifCreate(trunk, handle));
    return 0;
}

int32_t pcSimTrunkDelete(const HalPif* trunk, HalHwHandle** handle) noexcept {
    static_cast<void>(pcSimCardPifDelete(trunk, handle));
    return 0;
}

int32_t pcSimTrunkAddPorts(const HalPif*, uint32_t, const uint32_t*, uint32_t) noexcept {
    return 0;
}

int32_t pcSimTrunkConfigAddrAlgo(uint32_t algorithm) noexcept {
    return algorithm == 1 || algorithm == 2 ? -1 : 0;
}

int32_t pcSimSyncLoadShareAddrAlgoSlot(uint32_t, uint32_t algorithm, uint32_t) noexcept {
    return pcSimTrunkConfigAddrAlgo(algorithm);
}

int32_t pcSimTrunkSyncSlot(uint32_t slot) noexcept {
    for (const HalPif* pif = getFirstPif(); pif != nullptr;) {
        if (isMemberOn(*pif, slot)) {
            HalPif* trunk = nullptr;
            getPifByPortInstance(pif->trunkInstance, &trunk);
            if (trunk == nullptr) {
                // The HAL may bring a slot up before it has made the trunk. The walk stays on this
                // member until the trunk is there.
                printf("No lif found\n");
                continue;
            }
            if (pcSimTrunkAddPorts(trunk, 1, &pif->instance, 0) != 0)
                printf("Trunk_add_ports failed: port %s\n", halPortInstName(pif->instance));
        }
        pif = getNextPif(pif->instance);
    }
    return 0;
}

PCSIM_TRUNK_STUBS(PCSIM_DEFINE_STUB)
}
