// The test host's functions: note the call, answer what the test has set.
#include "tests/support/host.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <mutex>

using pcsim::test::host;

namespace pcsim::test {

HostState& host() {
    static HostState state;
    return state;
}

Component::Component() {
    record.level = &level;
    record.counters = counters;
    record.enabledMask = mask;
}

void Component::set(uint16_t newLevel, uint8_t newMask) {
    level.level = newLevel;
    mask[0] = newMask;
}

HalVlanIf* HostState::addVlanIf(uint32_t instance, uint16_t vlanId) {
    ownedVlanIfs_.push_back(std::make_unique<HalVlanIf>());
    HalVlanIf* record = ownedVlanIfs_.back().get();
    record->instance = instance;
    record->vlanId = vlanId;
    vlanIfs[instance] = record;
    return record;
}

HalPif* HostState::addPif(uint32_t portInstance, uint16_t slot, uint16_t portNumber) {
    ownedPifs_.push_back(std::make_unique<HalPif>());
    HalPif* record = ownedPifs_.back().get();
    record->instance = portInstance;
    record->slot = slot;
    record->port = portNumber;
    pifs.push_back(record);
    return record;
}

void HostState::attachComponents() {
    for (Component* component : {&sys, &card, &port, &vlan, &fdb}) component->open();
    _ems_HAL_Sys_ComponentHandle = &sys.record;
    _ems_HAL_Card_ComponentHandle = &card.record;
    _ems_HAL_Port_ComponentHandle = &port.record;
    _ems_HAL_VLAN_ComponentHandle = &vlan.record;
    _ems_HAL_FDB_ComponentHandle = &fdb.record;
}

std::vector<std::string> HostState::incidentTexts() const {
    std::vector<std::string> texts;
    for (const Incident& incident : incidents) texts.push_back(incident.text);
    return texts;
}

std::string printed(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

namespace {

__attribute__((format(printf, 1, 0))) std::string vformat(const char* format, va_list arguments) {
    char text[2048];
    std::vsnprintf(text, sizeof text, format, arguments);
    return text;
}

__attribute__((format(printf, 1, 2))) std::string text(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string result = vformat(format, arguments);
    va_end(arguments);
    return result;
}

std::string inSequence(std::string line) {
    if (host().sequence != nullptr) host().sequence->push_back(line);
    return line;
}

__attribute__((format(printf, 1, 2))) void note(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    host().calls.push_back(inSequence(vformat(format, arguments)));
    va_end(arguments);
}

// The library asks from whatever thread it is called on.
std::mutex queriesOfAllThreads;

__attribute__((format(printf, 1, 2))) void noteQuery(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    {
        const std::lock_guard guard(queriesOfAllThreads);
        host().queries.push_back(inSequence(vformat(format, arguments)));
    }
    va_end(arguments);
}

// The name of an exported operation, for calls that take one.
template <typename Function>
const char* nameOf(Function* function) {
    Dl_info info{};
    if (function == nullptr) return "null";
    if (dladdr(reinterpret_cast<void*>(function), &info) != 0 && info.dli_sname != nullptr)
        return info.dli_sname;
    return "internal";
}

}  // namespace
}  // namespace pcsim::test

using namespace pcsim::test;

extern "C" {

HalEmsDescriptor _ems_trace_ComponentDesc = {0x68};
HalGlobal gHal;
uint32_t poeHandle = 0x50E;

int emsNotifyIncident(const char* file, int line, const char* function, HalEmsComponent* component,
                      uint32_t incidentId, const char* format, va_list arguments) {
    host().incidents.push_back(
        {file, line, function, component, incidentId, inSequence(vformat(format, arguments))});
    return 42;
}

int emsRegisterComponent(int kind, HalEmsDescriptor* descriptor, HalEmsComponent** handle) {
    note("emsRegisterComponent(%d, %s)", kind,
         descriptor == &_ems_trace_ComponentDesc ? "trace" : "?");
    if (host().registerFillsTrace) *handle = &host().trace.record;
    return 0;
}

int32_t dmGetPlatformType(void) {
    note("dmGetPlatformType()");
    return host().platformType;
}

uint32_t dmGetMaxVr(void) {
    noteQuery("dmGetMaxVr()");
    return host().maxVr;
}

int32_t halAmIPrimary(void) {
    note("halAmIPrimary()");
    return host().primary;
}

int32_t getSystemMac(uint8_t* mac, int32_t ignored) {
    note("getSystemMac(%d)", ignored);
    if (host().systemMacResult == 0) std::memcpy(mac, host().systemMac, sizeof host().systemMac);
    return host().systemMacResult;
}

void setCheckpointStats(int32_t a, int32_t b, int32_t percent) {
    note("setCheckpointStats(%d, %d, %d)", a, b, percent);
}

uint32_t monotime(int32_t ignored) {
    note("monotime(%d)", ignored);
    return host().monotime;
}

int32_t halStartTimer(HalTimerFn* callback, uint32_t argument, uint32_t zero1, uint32_t periodMs,
                      uint32_t zero2) {
    note("halStartTimer(%s, %d, %u, %u, %u)", nameOf(callback), static_cast<int32_t>(argument),
         zero1, periodMs, zero2);
    host().timers.push_back({callback, argument, zero1, periodMs, zero2});
    return 0;
}

int32_t halScheduleTask(HalTaskFn* task, uint32_t argument1, uint32_t argument2, uint32_t delay,
                        const char* name) {
    note("halScheduleTask(%s, %u, %u, %u, \"%s\")", nameOf(task), argument1, argument2, delay,
         name);
    host().tasks.push_back({task, argument1, argument2, delay, name});
    return 0;
}

int32_t halCardStatusUpdate(int32_t slot, int32_t state, uint32_t argument) {
    note("halCardStatusUpdate(%d, %d, %u)", slot, state, argument);
    return 0;
}

const char* halGetCardStateString(int32_t state) {
    static std::string name;
    noteQuery("halGetCardStateString(%d)", state);
    name = text("State%d", state);
    return name.c_str();
}

int32_t halIsCardOperational(uint32_t slot) {
    noteQuery("halIsCardOperational(%d)", static_cast<int32_t>(slot));
    return host().cardOperational;
}

const char* getSlotName(int32_t slot) {
    static std::string name;  // valid until the next call, and no longer
    noteQuery("getSlotName(%d)", slot);
    name = text("Slot-%d", slot);
    return name.c_str();
}

int32_t getMgmtPort(uint32_t slot) {
    noteQuery("getMgmtPort(%d)", static_cast<int32_t>(slot));
    return host().mgmtPort;
}

uint32_t halGetHwPortMapping(uint32_t slot, uint32_t port) {
    noteQuery("halGetHwPortMapping(%u, %u)", slot, port);
    return host().hwPortMapping(slot, port);
}

const char* halPortInstName(uint32_t portInstance) {
    static std::string name;
    noteQuery("halPortInstName(%08x)", portInstance);
    name = text("%u:%u", portInstance >> 16, portInstance & 0xFFFF);
    return name.c_str();
}

int32_t halNotifyLinkStateChange(uint32_t portInstance, uint32_t link, uint32_t duplex,
                                 uint32_t speed, uint32_t flowControl, uint32_t zero1,
                                 uint32_t zero2) {
    note("halNotifyLinkStateChange(%08x, %u, %u, %u, %u, %u, %u)", portInstance, link, duplex,
         speed, flowControl, zero1, zero2);
    return 0;
}

int32_t halRegisterDevice(HalDeviceRegistration* registration) {
    note("halRegisterDevice(%s)", registration != nullptr ? "record" : "null");
    host().deviceRegistrations.push_back(registration);
    return host().registerDeviceResult;
}

int32_t halUpdateDeviceInfo(HalDeviceInfo* info, uint32_t reply) {
    uint32_t words[2];
    std::memcpy(words, info, sizeof words);
    note("halUpdateDeviceInfo(device %u, state %u, reply %u)", words[1], words[0], reply);
    host().deviceInfos.push_back(info);
    return host().deviceInfoResult;
}

int32_t halUpdateDeviceStatus(HalDeviceStatus* status, uint32_t reply) {
    uint32_t words[4];
    std::memcpy(words, status, sizeof words);
    note("halUpdateDeviceStatus(device %u, time %u, value %u, \"%s\", reply %u)", words[0],
         words[2], words[3], reinterpret_cast<const char*>(status) + 16, reply);
    host().deviceStatuses.push_back(status);
    return host().deviceStatusResult;
}

int32_t halDeviceCmdError(const HalDeviceCommand* command, int32_t errorCode, const char* message) {
    uint32_t words[3];
    std::memcpy(words, command, sizeof words);
    note("halDeviceCmdError(code %u device %u argument %u, %d, \"%s\")", words[0], words[1],
         words[2], errorCode, message);
    host().refusedCommands.push_back(command);
    return 0;
}

int32_t replyHandleSend(uint32_t handle, uint32_t messageId, const void* message, uint32_t length,
                        int32_t flag) {
    const auto* bytes = static_cast<const uint8_t*>(message);
    note("replyHandleSend(%u, %04x, %u bytes, %d)", handle, messageId, length, flag);
    host().replies.push_back({handle, messageId, {bytes, bytes + length}, flag});
    return 0;
}

void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    noteQuery("getVlanIfByInstance(%u)", instance);
    const auto found = host().vlanIfs.find(instance);
    *record = found == host().vlanIfs.end() ? nullptr : found->second;
}

void getPifByPortInstance(uint32_t portInstance, HalPif** record) {
    noteQuery("getPifByPortInstance(%08x)", portInstance);
    if (host().onPifLookup) host().onPifLookup();
    *record = nullptr;
    for (HalPif* pif : host().pifs)
        if (pif->instance == portInstance) *record = pif;
}

void getPifBySlotPort(uint32_t slot, uint32_t port, HalPif** record) {
    noteQuery("getPifBySlotPort(%u, %u)", slot, port);
    *record = nullptr;
    for (HalPif* pif : host().pifs)
        if (pif->slot == slot && pif->port == port) *record = pif;
}

HalPif* getFirstPif(void) {
    noteQuery("getFirstPif()");
    return host().pifs.empty() ? nullptr : host().pifs.front();
}

HalPif* getNextPif(uint32_t portInstance) {
    noteQuery("getNextPif(%08x)", portInstance);
    const auto& pifs = host().pifs;
    for (size_t i = 0; i + 1 < pifs.size(); ++i)
        if (pifs[i]->instance == portInstance) return pifs[i + 1];
    return nullptr;
}
}
