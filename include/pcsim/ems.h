/* The host's event-management logger: component records and the two calls the library makes.
 *
 * The host owns the records. The library holds pointers to them in the component handles below,
 * which it defines itself (null at load) and which a host's own definition of the same name
 * replaces. Only the fields declared here are read; the counters alone are written.
 *
 * Thread: that of the operation that traces, whichever that is. */
#ifndef PCSIM_EMS_H
#define PCSIM_EMS_H

#include <stdarg.h>

#include "pcsim/base.h"

PCSIM_BEGIN_DECLS

/* Where a component keeps its current trace level. */
typedef struct PCSIM_IS(host) HalEmsLevel {
    uint8_t reserved0[18];
    uint16_t level; /* 18: a class is counted and sent from its minimum level upwards */
} HalEmsLevel;

/* One traced component. */
typedef struct PCSIM_IS(host) HalEmsComponent {
    uint8_t reserved0[32];
    HalEmsLevel* level; /* 32 */
    /* 36: one per class, indexed by class number */
    PCSIM_IS(elements 6) uint32_t* counters;
    /* 40: bit (1 << class) of the first byte lets the class through */
    PCSIM_IS(hex, elements 1) const uint8_t* enabledMask;
} HalEmsComponent;

/* Component numbers, the high half of an incident identifier. */
#define HAL_EMS_COMPONENT_SYS 0x52u
#define HAL_EMS_COMPONENT_CARD 0x54u
#define HAL_EMS_COMPONENT_PORT 0x55u
#define HAL_EMS_COMPONENT_VLAN 0x56u
#define HAL_EMS_COMPONENT_FDB 0x57u
#define HAL_EMS_COMPONENT_TRACE 0x68u

/* Set by the host, before or after it loads the library. */
extern PCSIM_API HalEmsComponent* _ems_HAL_Sys_ComponentHandle;
extern PCSIM_API HalEmsComponent* _ems_HAL_Card_ComponentHandle;
extern PCSIM_API HalEmsComponent* _ems_HAL_Port_ComponentHandle;
extern PCSIM_API HalEmsComponent* _ems_HAL_VLAN_ComponentHandle;
extern PCSIM_API HalEmsComponent* _ems_HAL_FDB_ComponentHandle;
extern PCSIM_API HalEmsComponent* _ems_trace_ComponentHandle;

/* The host's descriptor of the 'trace' component; never looked into. A host without one cannot
 * have that component registered. */
typedef struct PCSIM_IS(host) HalEmsDescriptor HalEmsDescriptor;
extern HalEmsDescriptor _ems_trace_ComponentDesc;

/* Formats and records one incident. 'arguments' belong to 'format' and are read before the call
 * returns. The library hands the result on. Called from whatever context the traced operation runs
 * in, after level and mask have let the incident through. */
int emsNotifyIncident(PCSIM_IS(text) const char* file, int line,
                      PCSIM_IS(text) const char* function,
                      PCSIM_IS(by address) HalEmsComponent* component,
                      PCSIM_IS(hex) uint32_t incidentId, PCSIM_IS(format) const char* format,
                      PCSIM_IS(arguments) va_list arguments);

/* Registers the component that 'descriptor' describes and stores its record in '*handle'; leaves
 * '*handle' null when it can't. The library registers the 'trace' component alone, with kind 2, at
 * the first adjacency trace that finds its handle null. The result is ignored. */
int emsRegisterComponent(int kind, HalEmsDescriptor* descriptor,
                         PCSIM_IS(out, kept) HalEmsComponent** handle);

/* Sends one incident of a module of the library to emsNotifyIncident, with the module's own file
 * name whatever 'file' says, its component's handle and its incident identifier, and returns what
 * that returns. Level and mask have been looked at before: a call sends. Live. */
typedef int HalTraceFn(PCSIM_IS(text) const char* file, int line,
                       PCSIM_IS(text) const char* function, PCSIM_IS(format) const char* format,
                       ...);

#define PCSIM_TRACE_OPERATION(name) \
    PCSIM_OPERATION(HalTraceFn, name) __attribute__((format(printf, 4, 5)))
PCSIM_TRACE_OPERATION(pcSimCardTrace);   /* "pcSimCard.c", 0x540005 */
PCSIM_TRACE_OPERATION(pcSimCardDBTrace); /* "pcSimCardDB.c", 0x540001 */
PCSIM_TRACE_OPERATION(pcSimFdbTrace);    /* "pcSimFdb.c", 0x570005 */
PCSIM_TRACE_OPERATION(pcSimVlanTrace);   /* "pcSimVlan.c", 0x560005 */
PCSIM_TRACE_OPERATION(pcSimPortTrace);   /* "pcSimPort.c", 0x550005 */
PCSIM_TRACE_OPERATION(pcSimSystemTrace); /* "pcSimSystem.c", 0x520001 */
PCSIM_TRACE_OPERATION(pcSimFanTrace);    /* "pcSimFan.c", 0x520005 */
PCSIM_TRACE_OPERATION(pcSimPSTrace);     /* "pcSimPowerSupply.c", 0x520005 */
PCSIM_TRACE_OPERATION(pcSimDeviceTrace); /* "pcSimDevice.c", 0x520001 */
PCSIM_TRACE_OPERATION(pcSimIpAdjTrace);  /* "pcSimIpAdj.c", 0x680000 */
#undef PCSIM_TRACE_OPERATION

PCSIM_END_DECLS

#endif
