/* A host that keeps nothing from call to call: whatever two threads of it share is the platform's.
 * It has the answers of one that is complete, and a network of interfaces with link. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "pcsim/ems.h"
#include "pcsim/host.h"
#include "pcsim/host_records.h"
#include "pcsim/system.h"
#include "tests/races/rows.h"

/* Set before the first thread starts. */
static int chassis;

void beChassis(int isChassis) {
    chassis = isChassis;
}

int32_t dmGetPlatformType(void) {
    return chassis ? HAL_PLATFORM_CHASSIS : 1;
}

uint32_t dmGetMaxVr(void) {
    return 4;
}

int32_t getSystemMac(uint8_t* mac, int32_t ignored) {
    memset(mac, 2, 6);
    return ignored & 0;
}

int32_t halAmIPrimary(void) {
    return 1;
}

uint32_t monotime(int32_t ignored) {
    return ignored != 0 ? 7 : 8;
}

void setCheckpointStats(int32_t a, int32_t b, int32_t percent) {
    const int32_t numbers[] = {a, b, percent};
    written(numbers, sizeof numbers);
}

/* --- Timers and tasks: those of the initialisation are kept, the rest is not run -------------- */

enum { kTimers = 4, kDevicePollMs = 5000 };
static struct {
    HalTimerFn* run;
    uint32_t argument, periodMs;
} timers[kTimers];
static unsigned timerCount;

int32_t halStartTimer(HalTimerFn* callback, uint32_t argument, uint32_t zero1, uint32_t periodMs,
                      uint32_t zero2) {
    if (timerCount == kTimers || zero1 != 0 || zero2 != 0) abort();
    timers[timerCount].run = callback;
    timers[timerCount].periodMs = periodMs;
    timers[timerCount++].argument = argument;
    return 0;
}

static void runTimer(int isDevicePoll) {
    for (unsigned i = 0; i < timerCount; ++i)
        if ((timers[i].periodMs == kDevicePollMs) == isDevicePoll)
            timers[i].run(timers[i].argument);
}

void runLinkPoll(void) {
    runTimer(0);
}

void runDevicePoll(void) {
    runTimer(1);
}

int32_t halScheduleTask(HalTaskFn* task, uint32_t argument1, uint32_t argument2, uint32_t delay,
                        const char* name) {
    const uint32_t numbers[] = {argument1, argument2, delay};
    written(numbers, sizeof numbers);
    written(name, strlen(name) + 1);
    return task == NULL ? -1 : 0;
}

/* --- Cards, ports, devices -------------------------------------------------------------------- */

int32_t halCardStatusUpdate(int32_t slot, int32_t state, uint32_t argument) {
    const uint32_t numbers[] = {(uint32_t)slot, (uint32_t)state, argument};
    written(numbers, sizeof numbers);
    return 0;
}

int32_t halIsCardOperational(uint32_t slot) {
    return slot < 100;
}

int32_t getMgmtPort(uint32_t slot) {
    return slot < 100;
}

uint32_t halGetHwPortMapping(uint32_t slot, uint32_t port) {
    return chassis ? 2 * (slot - 1) + port : port;
}

int32_t halNotifyLinkStateChange(uint32_t portInstance, uint32_t link, uint32_t duplex,
                                 uint32_t speed, uint32_t flowControl, uint32_t zero1,
                                 uint32_t zero2) {
    const uint32_t numbers[] = {portInstance, link, duplex, speed, flowControl, zero1, zero2};
    written(numbers, sizeof numbers);
    return 0;
}

const char* getSlotName(int32_t slot) {
    return slot == 1 ? "slot 1" : "another slot";
}

const char* halGetCardStateString(int32_t state) {
    return state == 0 ? "none" : "state";
}

const char* halPortInstName(uint32_t portInstance) {
    return portInstance == 0 ? "none" : "port";
}

int32_t halRegisterDevice(struct HalDeviceRegistration* registration) {
    return registration == NULL ? -1 : 0;
}

int32_t halUpdateDeviceInfo(struct HalDeviceInfo* info, uint32_t reply) {
    written(&info->part, sizeof info->part.description);
    written(&reply, sizeof reply);
    return 0;
}

int32_t halUpdateDeviceStatus(struct HalDeviceStatus* status, uint32_t reply) {
    written(status, offsetof(struct HalDeviceStatus, text));
    written(status->text, strlen(status->text) + 1);
    written(&reply, sizeof reply);
    return 0;
}

int32_t halDeviceCmdError(const struct HalDeviceCommand* command, int32_t error, const char* text) {
    written(text, strlen(text) + 1);
    return command == NULL ? error : 0;
}

int32_t replyHandleSend(uint32_t handle, uint32_t id, const void* message, uint32_t length,
                        int32_t flag) {
    const uint32_t numbers[] = {handle, id, (uint32_t)flag};
    written(numbers, sizeof numbers);
    written(message, length);
    return 0;
}

uint32_t poeHandle = 5;
HalGlobal gHal;

/* --- The logger. Threads that trace under one component may lose counts, so nothing is traced but
 * on one thread ------------------------------------------------------------------------------ */

struct HalEmsDescriptor {
    int unused;
};
HalEmsDescriptor _ems_trace_ComponentDesc;

static HalEmsLevel level;
static uint32_t counters[8];
static const uint8_t mask[1] = {0xFF};
static HalEmsComponent component = {.level = &level, .counters = counters, .enabledMask = mask};

int emsRegisterComponent(int kind, HalEmsDescriptor* descriptor, HalEmsComponent** handle) {
    *handle = &component;
    return descriptor == &_ems_trace_ComponentDesc ? 0 : kind;
}

int emsNotifyIncident(const char* file, int line, const char* function, HalEmsComponent* sender,
                      uint32_t id, const char* format, va_list arguments) {
    char text[1024]; /* the arguments are there and of their types */
    const int length = vsnprintf(text, sizeof text, format, arguments);
    written(text, strlen(text) + 1);
    return sender == &component && strlen(file) + strlen(function) + id > (unsigned)line ? length
                                                                                         : 0;
}

void sendTraces(void) {
    level.level = 7;
    _ems_HAL_Sys_ComponentHandle = &component;
    _ems_HAL_Card_ComponentHandle = &component;
    _ems_HAL_Port_ComponentHandle = &component;
    _ems_HAL_VLAN_ComponentHandle = &component;
    _ems_HAL_FDB_ComponentHandle = &component;
}

/* --- Interface records, which nobody writes --------------------------------------------------- */

static HalHwHandle* trunkHandle;
static HalVlanIf vlanIfs[] = {{.instance = 1, .vlanId = 10}, {.instance = 2, .vlanId = 20}};
static HalPif trunk = {.instance = HAL_PORT_TYPE_TRUNK << 24 | 1, .hwHandle = &trunkHandle};
static HalPif pif = {
    .instance = 1u << 16 | 1, .trunkInstance = HAL_PORT_TYPE_TRUNK << 24 | 1, .slot = 1, .port = 1};

void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    *record = instance == 1 || instance == 2 ? &vlanIfs[instance - 1] : NULL;
}

void getPifBySlotPort(uint32_t slot, uint32_t port, HalPif** record) {
    *record = slot == 1 && port == 1 ? &pif : NULL;
}

void getPifByPortInstance(uint32_t instance, HalPif** record) {
    *record = instance == trunk.instance ? &trunk : &pif;
}

HalPif* getFirstPif(void) {
    return &pif;
}

HalPif* getNextPif(uint32_t instance) {
    return instance == pif.instance ? NULL : &pif;
}

/* --- The PC: sixteen interfaces with link ----------------------------------------------------- */

static char interfacesPath[64];

void giveInterfaces(void) {
    const int file = memfd_create("interfaces", 0);
    FILE* const stream = fdopen(file, "w");
    if (stream == NULL) abort();
    fputs("header\nheader\n    lo: 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n", stream);
    for (int i = 0; i <= 16; ++i)
        fprintf(stream, "  eth%d: 6400 %d 1 2 3 4 5 6 12800 200 1 2 3 4 5 6\n", i, 100 + i);
    fflush(stream); /* open as long as the process lives */
    snprintf(interfacesPath, sizeof interfacesPath, "/proc/self/fd/%d", file);
}

int open(const char* path, int flags, ...) {
    if (strcmp(path, "/proc/net/dev") == 0) path = interfacesPath;
    return (int)syscall(SYS_openat, AT_FDCWD, path, flags, 0600);
}

static uint16_t registerValue(uint16_t number) {
    if (number == MII_BMSR) return BMSR_LSTATUS;
    return LPA_100FULL | LPA_PAUSE_CAP; /* advertised, and the partner's */
}

int ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    struct ifreq* const interface = va_arg(arguments, struct ifreq*);
    va_end(arguments);
    written(interface->ifr_name, strlen(interface->ifr_name) + 1);
    errno = ENODEV;
    if (descriptor < 0 || atoi(interface->ifr_name + strlen("eth")) > 16) return -1;
    struct mii_ioctl_data block;
    memcpy(&block, &interface->ifr_ifru, sizeof block);
    if (request == SIOCGMIIREG) block.val_out = registerValue(block.reg_num);
    memcpy(&interface->ifr_ifru, &block, sizeof block);
    return 0;
}
