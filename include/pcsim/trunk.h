/* Trunks (load-share groups): several front-panel ports under one logical port, whose port instance
 * has the type HAL_PORT_TYPE_TRUNK. The platform has no load-sharing hardware: a trunk has a
 * hardware handle like any pif, and members are accepted. All operations return 0 unless said
 * otherwise; those that the tables type as HalStubFn are accepted and ignored.
 *
 * Thread: any of the HAL's, one call into the family or slot table at a time. */
#ifndef PCSIM_TRUNK_H
#define PCSIM_TRUNK_H

#include "pcsim/base.h"
#include "pcsim/host_records.h"

PCSIM_BEGIN_DECLS

/* Stores a new hardware handle for the trunk's pif in '*handle'; null when memory is short. Traces
 * as the creation of a pif. Simulated. */
typedef int32_t HalTrunkCreateFn(const HalPif* trunk, PCSIM_IS(out, new) HalHwHandle** handle);

/* Frees '*handle' and sets it to null; null is accepted. Traces as the deletion of a pif.
 * Simulated. */
typedef int32_t HalTrunkDeleteFn(const HalPif* trunk, HalHwHandle** handle);

/* Adds 'portCount' members, whose instances are read during the call. Accepted and ignored. */
typedef int32_t HalTrunkAddPortsFn(const HalPif* trunk, uint32_t portCount,
                                   PCSIM_IS(count portCount) const HalPortInstance* portInstances,
                                   uint32_t flag);

/* Chooses the address algorithm. -1 for the algorithms 1 and 2, which are refused. Constant. */
typedef int32_t HalTrunkConfigAddrAlgoFn(uint32_t algorithm);

/* The same for a slot that has just come up. Constant. */
typedef int32_t HalSyncLoadShareAddrAlgoSlotFn(uint32_t slot, uint32_t algorithm,
                                               PCSIM_IS(ignored) uint32_t ignored);

/* Adds each member that 'slot' has to its trunk again, walking all pifs of the HAL. A member whose
 * trunk the HAL doesn't know yet holds the walk, with a printed line at each attempt, until the
 * trunk is there. Live. */
typedef int32_t HalTrunkSyncSlotFn(uint32_t slot);

/* --- Operations by name ----------------------------------------------------------------------- */

PCSIM_OPERATION(HalTrunkCreateFn, pcSimTrunkCreate);
PCSIM_OPERATION(HalTrunkDeleteFn, pcSimTrunkDelete);
PCSIM_OPERATION(HalTrunkAddPortsFn, pcSimTrunkAddPorts);
PCSIM_OPERATION(HalTrunkConfigAddrAlgoFn, pcSimTrunkConfigAddrAlgo);
PCSIM_OPERATION(HalSyncLoadShareAddrAlgoSlotFn, pcSimSyncLoadShareAddrAlgoSlot);
PCSIM_OPERATION(HalTrunkSyncSlotFn, pcSimTrunkSyncSlot);
PCSIM_OPERATION(HalStubFn, pcSimTrunkDelPorts);
PCSIM_OPERATION(HalStubFn, pcSimTrunkLinkChange);
PCSIM_OPERATION(HalStubFn, pcSimVlanAddTrunkPort);
PCSIM_OPERATION(HalStubFn, pcSimVlanDelTrunkPort);
PCSIM_OPERATION(HalStubFn, pcSimVlanChangeTagTrunkPort);
PCSIM_OPERATION(HalStubFn, pcSimTrunkConfigLoadSharing);
PCSIM_OPERATION(HalStubFn, pcSimTrunkSetForwardingState);
PCSIM_OPERATION(HalStubFn, pcSimSyncVlanAddTrunk);
PCSIM_OPERATION(HalStubFn, pcSimCfgInterfacePortStateControl);

PCSIM_END_DECLS

#endif
