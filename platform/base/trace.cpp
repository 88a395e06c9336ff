// The component handles and the per-module trace operations.
#include "platform/base/trace.h"

extern "C" {

PCSIM_EXPORT HalEmsComponent* _ems_HAL_Sys_ComponentHandle;
PCSIM_EXPORT HalEmsComponent* _ems_HAL_Card_ComponentHandle;
PCSIM_EXPORT HalEmsComponent* _ems_HAL_Port_ComponentHandle;
PCSIM_EXPORT HalEmsComponent* _ems_HAL_VLAN_ComponentHandle;
PCSIM_EXPORT HalEmsComponent* _ems_HAL_FDB_ComponentHandle;
PCSIM_EXPORT HalEmsComponent* _ems_trace_ComponentHandle;

// A trace operation: it replaces the caller's file name by its module's, adds its incident
// identifier (component number << 16 | class) and hands the arguments on.
#define DEFINE_TRACE_OPERATION(name, moduleFile, handle, incidentId)                              \
    int name(const char*, int line, const char* function, const char* format, ...) noexcept {     \
        va_list arguments;                                                                        \
        va_start(arguments, format);                                                              \
        const int result =                                                                        \
            emsNotifyIncident(moduleFile, line, function, handle, incidentId, format, arguments); \
        va_end(arguments);                                                                        \
        return result;                                                                            \
    }

// clang-format off
DEFINE_TRACE_OPERATION(pcSimCardTrace,       "pcSimCard.c",        _ems_HAL_Card_ComponentHandle, 0x540005)
DEFINE_TRACE_OPERATION(pcSimCardDBTrace,     "pcSimCardDB.c",      _ems_HAL_Card_ComponentHandle, 0x540001)
DEFINE_TRACE_OPERATION(pcSimCardDBInfoTrace, "pcSimCardDB.c",      _ems_HAL_Card_ComponentHandle, 0x540005)
DEFINE_TRACE_OPERATION(pcSimFdbTrace,        "pcSimFdb.c",         _ems_HAL_FDB_ComponentHandle,  0x570005)
DEFINE_TRACE_OPERATION(pcSimVlanTrace,       "pcSimVlan.c",        _ems_HAL_VLAN_ComponentHandle, 0x560005)
DEFINE_TRACE_OPERATION(pcSimPortTrace,       "pcSimPort.c",        _ems_HAL_Port_ComponentHandle, 0x550005)
DEFINE_TRACE_OPERATION(pcSimSystemTrace,     "pcSimSystem.c",      _ems_HAL_Sys_ComponentHandle,  0x520001)
DEFINE_TRACE_OPERATION(pcSimFanTrace,        "pcSimFan.c",         _ems_HAL_Sys_ComponentHandle,  0x520005)
DEFINE_TRACE_OPERATION(pcSimPSTrace,         "pcSimPowerSupply.c", _ems_HAL_Sys_ComponentHandle,  0x520005)
DEFINE_TRACE_OPERATION(pcSimDeviceTrace,     "pcSimDevice.c",      _ems_HAL_Sys_ComponentHandle,  0x520001)
DEFINE_TRACE_OPERATION(pcSimIpAdjTrace,      "pcSimIpAdj.c",       _ems_trace_ComponentHandle,    0x680000)
// clang-format on

#undef DEFINE_TRACE_OPERATION
}

// A host without the descriptor cannot have the component registered.
extern "C" HalEmsDescriptor _ems_trace_ComponentDesc __attribute__((weak));

HalEmsComponent* pcsim::registeredTraceComponent() noexcept {
    if (_ems_trace_ComponentHandle == nullptr && &_ems_trace_ComponentDesc != nullptr)
        emsRegisterComponent(2, &_ems_trace_ComponentDesc, &_ems_trace_ComponentHandle);
    return _ems_trace_ComponentHandle;
}
