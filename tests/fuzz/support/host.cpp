// The host's functions.
#include "tests/fuzz/support/host.h"

#include <cstdio>
#include <cstring>

struct HalEmsDescriptor {
    int marker;
};

namespace pcsim::fuzz {
namespace {

// One component for all handles.
struct Component {
    HalEmsLevel level{};
    uint32_t counters[6]{};
    uint8_t mask[1]{};
    HalEmsComponent record{};
};

Component component;
std::string* dumpText;

int printTo(uint32_t, const char* format, ...) {
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    dumpText->append(line);
    return length;
}

}  // namespace

Host& host() {
    static Host state;
    return state;
}

void freshHost() {
    Host& state = host();
    state.tasks.clear();
    state.timers.clear();
    state.vlanIfs.clear();
    state.pifs.clear();
    state.formatted = false;
    state.incidents = state.calls = 0;
    state.platformType = 1;
    state.maxVr = 4;
    state.primary = state.mgmtPort = state.cardOperational = 1;
    state.systemMacResult = 0;
    state.interfaceOffset = 0;
    gHal = {};
    poeHandle = 0x50E;
}

void traceUpTo(uint16_t level, uint8_t classes) {
    component.level.level = level;
    component.mask[0] = classes;
    component.record.level = &component.level;
    component.record.counters = component.counters;
    component.record.enabledMask = component.mask;
    for (HalEmsComponent** handle : {&_ems_HAL_Sys_ComponentHandle, &_ems_HAL_Card_ComponentHandle,
                                     &_ems_HAL_Port_ComponentHandle, &_ems_HAL_VLAN_ComponentHandle,
                                     &_ems_HAL_FDB_ComponentHandle, &_ems_trace_ComponentHandle})
        *handle = &component.record;
}

int formatted(const char* format, va_list arguments) {
    if (!host().formatted) return 0;
    char text[2048];
    return std::vsnprintf(text, sizeof text, format, arguments);
}

pcSimDumpSink sinkTo(std::string& text) {
    dumpText = &text;
    return {.context = 0, .print = printTo};
}

}  // namespace pcsim::fuzz

using pcsim::fuzz::host;

extern "C" {

HalEmsDescriptor _ems_trace_ComponentDesc = {0x68};
HalGlobal gHal;
uint32_t poeHandle;

int emsNotifyIncident(const char*, int, const char*, HalEmsComponent*, uint32_t, const char* format,
                      va_list arguments) {
    ++host().incidents;
    return pcsim::fuzz::formatted(format, arguments);
}

int emsRegisterComponent(int, HalEmsDescriptor*, HalEmsComponent**) {
    return -1;
}

int32_t dmGetPlatformType(void) {
    return host().platformType;
}

uint32_t dmGetMaxVr(void) {
    return host().maxVr;
}

int32_t halAmIPrimary(void) {
    return host().primary;
}

int32_t getSystemMac(uint8_t* mac, int32_t) {
    if (host().systemMacResult == 0) std::memcpy(mac, "\x00\x04\x96\x12\x34\x56", 6);
    return host().systemMacResult;
}

void setCheckpointStats(int32_t, int32_t, int32_t) {
    ++host().calls;
}

uint32_t monotime(int32_t) {
    return 777;
}

int32_t halStartTimer(HalTimerFn* callback, uint32_t argument, uint32_t, uint32_t, uint32_t) {
    host().timers.push_back({callback, argument});
    return 0;
}

int32_t halScheduleTask(HalTaskFn* task, uint32_t argument1, uint32_t argument2, uint32_t,
                        const char*) {
    host().tasks.push_back({task, argument1, argument2});
    return 0;
}

int32_t halCardStatusUpdate(int32_t, int32_t, uint32_t) {
    ++host().calls;
    return 0;
}

const char* halGetCardStateString(int32_t) {
    return "State";
}

int32_t halIsCardOperational(uint32_t) {
    return host().cardOperational;
}

const char* getSlotName(int32_t) {
    return "Slot";
}

int32_t getMgmtPort(uint32_t) {
    return host().mgmtPort;
}

uint32_t halGetHwPortMapping(uint32_t, uint32_t port) {
    return port + host().interfaceOffset;
}

const char* halPortInstName(uint32_t) {
    return "1:1";
}

int32_t halNotifyLinkStateChange(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t,
                                 uint32_t) {
    ++host().calls;
    return 0;
}

int32_t halRegisterDevice(HalDeviceRegistration*) {
    ++host().calls;
    return 0;
}

int32_t halUpdateDeviceInfo(HalDeviceInfo*, uint32_t) {
    ++host().calls;
    return 0;
}

int32_t halUpdateDeviceStatus(HalDeviceStatus*, uint32_t) {
    ++host().calls;
    return 0;
}

int32_t halDeviceCmdError(const HalDeviceCommand*, int32_t, const char*) {
    ++host().calls;
    return 0;
}

int32_t replyHandleSend(uint32_t, uint32_t, const void*, uint32_t, int32_t) {
    ++host().calls;
    return 0;
}

void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    *record = nullptr;
    for (HalVlanIf* vlanIf : host().vlanIfs)
        if (vlanIf->instance == instance) *record = vlanIf;
}

void getPifByPortInstance(uint32_t portInstance, HalPif** record) {
    *record = nullptr;
    for (HalPif* pif : host().pifs)
        if (pif->instance == portInstance) *record = pif;
}

void getPifBySlotPort(uint32_t slot, uint32_t port, HalPif** record) {
    *record = nullptr;
    for (HalPif* pif : host().pifs)
        if (pif->slot == slot && pif->port == port) *record = pif;
}

HalPif* getFirstPif(void) {
    return host().pifs.empty() ? nullptr : host().pifs.front();
}

HalPif* getNextPif(uint32_t portInstance) {
    const auto& pifs = host().pifs;
    for (size_t i = 0; i + 1 < pifs.size(); ++i)
        if (pifs[i]->instance == portInstance) return pifs[i + 1];
    return nullptr;
}
}
