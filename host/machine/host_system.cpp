// Host functions of the system manager, timers, tasks and the logger.
#include <cstdarg>
#include <cstring>
#include <ctime>

#include "host/machine/components.h"
#include "host/machine/machine.h"
#include "pcsim/host.h"

using pcsim::host::Context;
using pcsim::host::Machine;

namespace {

// A system MAC address of the locally administered kind: it belongs to nobody.
constexpr uint8_t kSystemMac[6] = {0x02, 0x50, 0x43, 0x53, 0x49, 0x4D};

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(size > 0 ? static_cast<size_t>(size) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

}  // namespace

struct HalEmsDescriptor {
    const char* name;
};

namespace pcsim::host {

// Hands the components to the platform, which finds them by the handles' names. The 'trace'
// component is registered by the platform when it first needs it.
void attachComponents(Logger& logger) {
    _ems_HAL_Sys_ComponentHandle = &logger.find("Sys")->record;
    _ems_HAL_Card_ComponentHandle = &logger.find("Card")->record;
    _ems_HAL_Port_ComponentHandle = &logger.find("Port")->record;
    _ems_HAL_VLAN_ComponentHandle = &logger.find("VLAN")->record;
    _ems_HAL_FDB_ComponentHandle = &logger.find("FDB")->record;
}

}  // namespace pcsim::host

extern "C" {

HalEmsDescriptor _ems_trace_ComponentDesc = {"trace"};
HalEmsComponent* _ems_HAL_Sys_ComponentHandle;
HalEmsComponent* _ems_HAL_Card_ComponentHandle;
HalEmsComponent* _ems_HAL_Port_ComponentHandle;
HalEmsComponent* _ems_HAL_VLAN_ComponentHandle;
HalEmsComponent* _ems_HAL_FDB_ComponentHandle;
HalEmsComponent* _ems_trace_ComponentHandle;

// Invalid adjacency compares are reported, not fatal.
HalGlobal gHal = {};

int32_t dmGetPlatformType(void) {
    return Machine::current().context.options.chassis ? HAL_PLATFORM_CHASSIS : 1;
}

uint32_t dmGetMaxVr(void) {
    return Machine::current().context.options.maxVr;
}

int32_t halAmIPrimary(void) {
    return 1;
}

int32_t getSystemMac(uint8_t* mac, int32_t) {
    std::memcpy(mac, kSystemMac, sizeof kSystemMac);
    return 0;
}

void setCheckpointStats(int32_t, int32_t, int32_t percent) {
    Machine::current().context.events.note("boot", "Checkpoint {} % done", percent);
}

uint32_t monotime(int32_t) {
    return static_cast<uint32_t>(Machine::current().context.scheduler.nowMs());
}

int32_t halStartTimer(HalTimerFn* callback, uint32_t argument, uint32_t, uint32_t periodMs,
                      uint32_t) {
    Context& context = Machine::current().context;
    const std::string operation =
        pcsim::host::Platform::operationName(reinterpret_cast<const void*>(callback));
    context.scheduler.every(periodMs, operation == "?" ? "platform timer" : operation,
                            [&context, callback, argument] {
                                callback(argument);
                                context.platform.drainPrints();
                            });
    return 0;
}

int32_t halScheduleTask(HalTaskFn* task, uint32_t argument1, uint32_t argument2, uint32_t delay,
                        const char* name) {
    Context& context = Machine::current().context;
    context.scheduler.after(delay, name, [&context, task, argument1, argument2] {
        task(argument1, argument2);
        context.platform.drainPrints();
    });
    return 0;
}

int emsNotifyIncident(const char* file, int line, const char* function, HalEmsComponent* component,
                      uint32_t incidentId, const char* format, va_list arguments) {
    Context& context = Machine::current().context;
    auto* known = context.logger.of(component);
    if (known != nullptr) ++known->sent;
    context.events.note(known != nullptr ? known->name : "?", "{} ({} {}:{} {:06x})",
                        formatted(format, arguments), function, file, line, incidentId);
    return 0;
}

int emsRegisterComponent(int, HalEmsDescriptor* descriptor, HalEmsComponent** handle) {
    if (descriptor == &_ems_trace_ComponentDesc)
        *handle = &Machine::current().context.logger.trace().record;
    return 0;
}
}
