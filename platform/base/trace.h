// Component tracing: one macro per source module, each a trace site.
//
// A site tests the component's level, counts the event, tests the class mask, and only then
// evaluates its arguments, so a silent site costs two loads and a compare. The ten exported trace
// operations (pcsim/ems.h) add the module's file name and incident identifier; hosts and debuggers
// may call them too. Any module of the library may include this.
#ifndef PCSIM_BASE_TRACE_H
#define PCSIM_BASE_TRACE_H

#include "pcsim/ems.h"
#include "platform/base/export.h"

namespace pcsim {

// Event classes and the level that each needs.
enum class EventClass : uint8_t { kAdjacency = 0, kError = 1, kInfo = 5 };

constexpr uint32_t minimumLevel(EventClass eventClass) noexcept {
    return static_cast<uint32_t>(eventClass) + 1;
}

// Whether an event of 'eventClass' is to be sent. Counts it when the level lets it through, also
// when the mask does not: the counter counts events, not messages.
inline bool traceWanted(const HalEmsComponent* component, EventClass eventClass) noexcept {
    if (component == nullptr) return false;
    if (component->level->level < minimumLevel(eventClass)) return false;
    ++component->counters[static_cast<uint8_t>(eventClass)];
    return ((*component->enabledMask >> static_cast<uint8_t>(eventClass)) & 1) != 0;
}

// The 'trace' component; asks the host to register it when its handle is null. Null when that leads
// to nothing.
HalEmsComponent* registeredTraceComponent() noexcept;

}  // namespace pcsim

extern "C" {
// The card-database module's second sender: its one informational message, the link interrupt.
int pcSimCardDBInfoTrace(const char* file, int line, const char* function, const char* format,
                         ...) noexcept __attribute__((format(printf, 4, 5)));
}

// A site: 'send' is the module's trace operation, 'function' the name that the logger shows; the
// rest is the format and its arguments.
#define PCSIM_TRACE_SITE_AT(handle, eventClass, send, file, line, function, ...) \
    do {                                                                         \
        if (pcsim::traceWanted(handle, pcsim::EventClass::eventClass))           \
            static_cast<void>(send(file, line, function, __VA_ARGS__));          \
    } while (false)
#define PCSIM_TRACE_SITE(handle, eventClass, send, file, function, ...) \
    PCSIM_TRACE_SITE_AT(handle, eventClass, send, file, __LINE__, function, __VA_ARGS__)

// Sites named after the operation they stand in. Where shared code traces for several operations,
// the ..._AS form takes the operation's name.
#define TRACE_CARD_AS(function, ...)                                                      \
    PCSIM_TRACE_SITE(_ems_HAL_Card_ComponentHandle, kInfo, pcSimCardTrace, "pcSimCard.c", \
                     function, __VA_ARGS__)
#define TRACE_CARD(...) TRACE_CARD_AS(__func__, __VA_ARGS__)
#define TRACE_CARD_DB_ERROR(...)                                                               \
    PCSIM_TRACE_SITE(_ems_HAL_Card_ComponentHandle, kError, pcSimCardDBTrace, "pcSimCardDB.c", \
                     __func__, __VA_ARGS__)
#define TRACE_CARD_DB_INFO(...)                                                                   \
    PCSIM_TRACE_SITE(_ems_HAL_Card_ComponentHandle, kInfo, pcSimCardDBInfoTrace, "pcSimCardDB.c", \
                     __func__, __VA_ARGS__)
#define TRACE_FDB(...)                                                                           \
    PCSIM_TRACE_SITE(_ems_HAL_FDB_ComponentHandle, kInfo, pcSimFdbTrace, "pcSimFdb.c", __func__, \
                     __VA_ARGS__)
#define TRACE_VLAN_AS(function, ...)                                                      \
    PCSIM_TRACE_SITE(_ems_HAL_VLAN_ComponentHandle, kInfo, pcSimVlanTrace, "pcSimVlan.c", \
                     function, __VA_ARGS__)
#define TRACE_VLAN(...) TRACE_VLAN_AS(__func__, __VA_ARGS__)
#define TRACE_PORT_AS(function, ...)                                                      \
    PCSIM_TRACE_SITE(_ems_HAL_Port_ComponentHandle, kInfo, pcSimPortTrace, "pcSimPort.c", \
                     function, __VA_ARGS__)
#define TRACE_PORT(...) TRACE_PORT_AS(__func__, __VA_ARGS__)
#define TRACE_SYSTEM_ERROR_AS(function, ...)                                                  \
    PCSIM_TRACE_SITE(_ems_HAL_Sys_ComponentHandle, kError, pcSimSystemTrace, "pcSimSystem.c", \
                     function, __VA_ARGS__)
#define TRACE_SYSTEM_ERROR(...) TRACE_SYSTEM_ERROR_AS(__func__, __VA_ARGS__)
#define TRACE_FAN(...)                                                                           \
    PCSIM_TRACE_SITE(_ems_HAL_Sys_ComponentHandle, kInfo, pcSimFanTrace, "pcSimFan.c", __func__, \
                     __VA_ARGS__)
#define TRACE_POWER_SUPPLY(...)                                                               \
    PCSIM_TRACE_SITE(_ems_HAL_Sys_ComponentHandle, kInfo, pcSimPSTrace, "pcSimPowerSupply.c", \
                     __func__, __VA_ARGS__)
#define TRACE_DEVICE_ERROR(...)                                                               \
    PCSIM_TRACE_SITE(_ems_HAL_Sys_ComponentHandle, kError, pcSimDeviceTrace, "pcSimDevice.c", \
                     __func__, __VA_ARGS__)

// The adjacency sites have fixed line numbers, and their component is the one that the library
// registers itself, at the first site that finds its handle null.
#define TRACE_ADJACENCY(line, ...)                                                      \
    PCSIM_TRACE_SITE_AT(pcsim::registeredTraceComponent(), kAdjacency, pcSimIpAdjTrace, \
                        "pcSimIpAdj.c", line, __func__, __VA_ARGS__)

#endif
