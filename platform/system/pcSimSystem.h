// The platform frame: entry point, initialisation, the poll of the management link, and the system
// table.
//
// Stored here: the management link state last reported. Initialisation runs once, before any other
// operation, and nothing of it is ever torn down; from then on only the management-link poll
// writes, on the host's timer context. There is one link flag for the whole library.
#ifndef PCSIM_SYSTEM_PCSIMSYSTEM_H
#define PCSIM_SYSTEM_PCSIMSYSTEM_H

#include "pcsim/base.h"
#include "platform/base/stub.h"

struct HalSystemOps;
struct HalChassisInfo;
struct HalChassisCapability;

extern "C" {

PCSIM_EXPORT int32_t platformSystemInit(HalSystemOps* table) noexcept;
PCSIM_EXPORT int32_t pcSimStackSystemInit(HalSystemOps* table) noexcept;
PCSIM_EXPORT int32_t pcSimChassisSystemInit(HalSystemOps* table) noexcept;

// The host timer's callback: reports changes of the management port's link, and nothing else.
PCSIM_EXPORT void pcSimMgmtLinkPoll(uint32_t slot) noexcept;

// The operations of the system table, and its setups; contracts in pcsim/system.h.
PCSIM_EXPORT int32_t pcSimStackSystemDBSetup(HalSystemOps* table) noexcept;
PCSIM_EXPORT int32_t pcSimChassisSystemDBSetup(HalSystemOps* table) noexcept;
PCSIM_EXPORT int32_t pcSimStackChassisGetInfo(HalChassisInfo* info) noexcept;
PCSIM_EXPORT int32_t pcSimChassisChassisGetInfo(HalChassisInfo* info) noexcept;
PCSIM_EXPORT HalChassisCapability* pcSimStackChassisGetCapability() noexcept;
PCSIM_EXPORT HalChassisCapability* pcSimChassisChassisGetCapability() noexcept;
PCSIM_EXPORT int32_t pcSimModuleIoctl(uint32_t module, int32_t request, void* argument) noexcept;
PCSIM_DECLARE_STUB(pcSimSystemNop)
PCSIM_DECLARE_STUB(pcSimSystemShutdown)
PCSIM_DECLARE_STUB(pcSimCheckpointMsgHandler)
PCSIM_EXPORT int32_t pcSimCheckpointStart() noexcept;
PCSIM_DECLARE_STUB(pcSimCheckpointStop)
}

#endif
