/* The host functions, but for those that are left out. */
#define _GNU_SOURCE
#include "host.h"

#include <dlfcn.h>
#include <errno.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include "pcsim/ems.h"
#include "pcsim/host.h"
#include "pcsim/host_records.h"
#include "pcsim/host_tree.h"

enum { kTasks = 16, kTimers = 4, kCalls = 64, kInterfaces = 12 };

int isChassis;
int refuseInsert;

/* --- What is called ------------------------------------------------------------------------- */

static const char* called[kCalls];
static unsigned calledCount;

static void note(const char* name) {
    if (!wasCalled(name) && calledCount < kCalls) called[calledCount++] = name;
}
#define NOTE_CALL() note(__func__)

int wasCalled(const char* name) {
    for (unsigned i = 0; i < calledCount; ++i)
        if (strcmp(called[i], name) == 0) return 1;
    return 0;
}

/* --- System, timers, tasks ------------------------------------------------------------------ */

#ifndef WITHOUT_dmGetPlatformType
int32_t dmGetPlatformType(void) {
    NOTE_CALL();
    return isChassis ? HAL_PLATFORM_CHASSIS : 1;
}
#endif

#ifndef WITHOUT_dmGetMaxVr
uint32_t dmGetMaxVr(void) {
    NOTE_CALL();
    return 4;
}
#endif

#ifndef WITHOUT_getSystemMac
int32_t getSystemMac(uint8_t* mac, int32_t ignored) {
    NOTE_CALL();
    memset(mac, 2, 6);
    return 0;
}
#endif

#ifndef WITHOUT_halAmIPrimary
int32_t halAmIPrimary(void) {
    NOTE_CALL();
    return 1;
}
#endif

#ifndef WITHOUT_monotime
uint32_t monotime(int32_t ignored) {
    NOTE_CALL();
    return 7;
}
#endif

#ifndef WITHOUT_setCheckpointStats
void setCheckpointStats(int32_t a, int32_t b, int32_t percent) {
    NOTE_CALL();
}
#endif

static struct {
    HalTimerFn* run;
    uint32_t argument;
} timers[kTimers];
static unsigned timerCount;

#ifndef WITHOUT_halStartTimer
int32_t halStartTimer(HalTimerFn* callback, uint32_t argument, uint32_t zero1, uint32_t periodMs,
                      uint32_t zero2) {
    NOTE_CALL();
    if (timerCount == kTimers) return -1;
    timers[timerCount].run = callback;
    timers[timerCount++].argument = argument;
    return 0;
}
#endif

void runTimers(void) {
    for (unsigned i = 0; i < timerCount; ++i) timers[i].run(timers[i].argument);
}

static struct {
    HalTaskFn* run;
    uint32_t argument1, argument2;
} tasks[kTasks];
static unsigned taskCount;

#ifndef WITHOUT_halScheduleTask
int32_t halScheduleTask(HalTaskFn* task, uint32_t argument1, uint32_t argument2, uint32_t delay,
                        const char* name) {
    NOTE_CALL();
    if (taskCount == kTasks) return -1;
    tasks[taskCount].run = task;
    tasks[taskCount].argument1 = argument1;
    tasks[taskCount++].argument2 = argument2;
    return 0;
}
#endif

void runTasks(void) {
    for (unsigned i = 0; i < taskCount; ++i) tasks[i].run(tasks[i].argument1, tasks[i].argument2);
    taskCount = 0;
}

/* --- Cards and ports ------------------------------------------------------------------------ */

static int32_t cardStates[kSlots];

int32_t cardState(int32_t slot) {
    return cardStates[slot];
}

#ifndef WITHOUT_halCardStatusUpdate
int32_t halCardStatusUpdate(int32_t slot, int32_t state, uint32_t argument) {
    NOTE_CALL();
    if (slot >= 0 && slot < kSlots) cardStates[slot] = state;
    return 0;
}
#endif

#ifndef WITHOUT_halIsCardOperational
int32_t halIsCardOperational(uint32_t slot) {
    NOTE_CALL();
    return 1;
}
#endif

#ifndef WITHOUT_getMgmtPort
int32_t getMgmtPort(uint32_t slot) {
    NOTE_CALL();
    return 1;
}
#endif

#ifndef WITHOUT_halGetHwPortMapping
uint32_t halGetHwPortMapping(uint32_t slot, uint32_t port) {
    NOTE_CALL();
    return port;
}
#endif

#ifndef WITHOUT_halNotifyLinkStateChange
int32_t halNotifyLinkStateChange(uint32_t portInstance, uint32_t link, uint32_t duplex,
                                 uint32_t speed, uint32_t flowControl, uint32_t zero1,
                                 uint32_t zero2) {
    NOTE_CALL();
    return 0;
}
#endif

#ifndef WITHOUT_getSlotName
const char* getSlotName(int32_t slot) {
    NOTE_CALL();
    return "slot";
}
#endif

#ifndef WITHOUT_halGetCardStateString
const char* halGetCardStateString(int32_t state) {
    NOTE_CALL();
    return "state";
}
#endif

#ifndef WITHOUT_halPortInstName
const char* halPortInstName(uint32_t portInstance) {
    NOTE_CALL();
    return "port";
}
#endif

/* --- Devices and replies -------------------------------------------------------------------- */

#ifndef WITHOUT_halRegisterDevice
int32_t halRegisterDevice(struct HalDeviceRegistration* registration) {
    NOTE_CALL();
    return 0;
}
#endif

#ifndef WITHOUT_halUpdateDeviceInfo
int32_t halUpdateDeviceInfo(struct HalDeviceInfo* info, uint32_t reply) {
    NOTE_CALL();
    return 0;
}
#endif

#ifndef WITHOUT_halUpdateDeviceStatus
int32_t halUpdateDeviceStatus(struct HalDeviceStatus* status, uint32_t reply) {
    NOTE_CALL();
    return 0;
}
#endif

#ifndef WITHOUT_halDeviceCmdError
int32_t halDeviceCmdError(const struct HalDeviceCommand* command, int32_t error, const char* text) {
    NOTE_CALL();
    return 0;
}
#endif

#ifndef WITHOUT_replyHandleSend
int32_t replyHandleSend(uint32_t handle, uint32_t id, const void* message, uint32_t length,
                        int32_t flag) {
    NOTE_CALL();
    return 0;
}
#endif

#ifndef WITHOUT_poeHandle
uint32_t poeHandle = 5;
#endif

#ifndef WITHOUT_gHal
HalGlobal gHal;
#endif

/* --- The logger ----------------------------------------------------------------------------- */

struct HalEmsDescriptor {
    int unused;
};

#ifndef WITHOUT__ems_trace_ComponentDesc
HalEmsDescriptor _ems_trace_ComponentDesc;
#endif

#ifndef WITHOUT_emsRegisterComponent
int emsRegisterComponent(int kind, HalEmsDescriptor* descriptor, HalEmsComponent** handle) {
    NOTE_CALL();
    return -1;
}
#endif

#ifndef WITHOUT_emsNotifyIncident
int emsNotifyIncident(const char* file, int line, const char* function, HalEmsComponent* component,
                      uint32_t id, const char* format, va_list arguments) {
    NOTE_CALL();
    char text[1024]; /* the arguments are there and of their types */
    return vsnprintf(text, sizeof text, format, arguments);
}
#endif

void turnTracesOn(void* library) {
#if !defined WITHOUT_emsNotifyIncident && !defined WITHOUT_getSlotName && \
    !defined WITHOUT_halGetCardStateString && !defined WITHOUT_halPortInstName
    static HalEmsLevel level = {.level = 6};
    static uint32_t counters[8];
    static const uint8_t mask[1] = {0xFF};
    static HalEmsComponent component = {{0}, &level, counters, mask};
    static const char* const kHandles[] = {
        "_ems_HAL_Sys_ComponentHandle",  "_ems_HAL_Card_ComponentHandle",
        "_ems_HAL_Port_ComponentHandle", "_ems_HAL_VLAN_ComponentHandle",
        "_ems_HAL_FDB_ComponentHandle",
    };
    for (size_t i = 0; i < sizeof kHandles / sizeof *kHandles; ++i) {
        HalEmsComponent** handle = dlsym(library, kHandles[i]);
        EXPECT(handle != NULL);
        if (handle != NULL) *handle = &component;
    }
#endif
}

/* --- Interface records: VLAN 1, and port 1 of each slot, a member of a trunk ---------------- */

static HalVlanIf vlanIf = {.instance = 1, .vlanId = 10};
static HalPif trunk = {.instance = HAL_PORT_TYPE_TRUNK << 24 | 1};
static HalPif pif = {
    .instance = 1u << 16 | 1, .trunkInstance = HAL_PORT_TYPE_TRUNK << 24 | 1, .slot = 1, .port = 1};

#ifndef WITHOUT_getVlanIfByInstance
void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    NOTE_CALL();
    *record = &vlanIf;
}
#endif

#ifndef WITHOUT_getPifBySlotPort
void getPifBySlotPort(uint32_t slot, uint32_t port, HalPif** record) {
    NOTE_CALL();
    *record = &pif;
}
#endif

#ifndef WITHOUT_getPifByPortInstance
void getPifByPortInstance(uint32_t instance, HalPif** record) {
    NOTE_CALL();
    *record = &trunk;
}
#endif

#ifndef WITHOUT_getFirstPif
HalPif* getFirstPif(void) {
    NOTE_CALL();
    return &pif;
}
#endif

#ifndef WITHOUT_getNextPif
HalPif* getNextPif(uint32_t instance) {
    NOTE_CALL();
    return NULL;
}
#endif

/* --- The tree, as a sorted list ------------------------------------------------------------- */

#ifndef WITHOUT_p2BtreeInsert
int32_t p2BtreeInsert(HalTreeNode* node, HalTreeRoot* root, HalTreeCompareFn* compare) {
    NOTE_CALL();
    HalTreeNode** link = root;
    while (*link != NULL && compare(node, *link) > 0) link = (HalTreeNode**)&(*link)->links[0];
    if (refuseInsert || (*link != NULL && compare(node, *link) == 0)) return -1;
    node->links[0] = *link;
    *link = node;
    return 0;
}
#endif

#ifndef WITHOUT_p2BtreeDelete
int32_t p2BtreeDelete(HalTreeNode* node, HalTreeRoot* root) {
    NOTE_CALL();
    HalTreeNode** link = root;
    while (*link != NULL && *link != node) link = (HalTreeNode**)&(*link)->links[0];
    if (*link == node) *link = node->links[0];
    return 0;
}
#endif

#ifndef WITHOUT_p2BtreeFirst
HalTreeNode* p2BtreeFirst(HalTreeRoot* root) {
    NOTE_CALL();
    return *root;
}
#endif

#ifndef WITHOUT_p2BtreeNext
HalTreeNode* p2BtreeNext(HalTreeNode* node) {
    NOTE_CALL();
    return node->links[0];
}
#endif

#ifndef WITHOUT_findNode
HalTreeNode* findNode(const HalTreeNode* key, HalTreeRoot root, HalTreeCompareFn* compare) {
    NOTE_CALL();
    while (root != NULL && compare(key, root) != 0) root = root->links[0];
    return root;
}
#endif

/* --- The PC: twelve interfaces with link, and the management port's unless it must have none. - */

static uint16_t registerValue(uint16_t reg) {
    if (reg == MII_BMSR) return BMSR_LSTATUS;
    return LPA_100FULL | LPA_PAUSE_CAP; /* advertised, and the partner's */
}

int ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    struct ifreq* const interface = va_arg(arguments, struct ifreq*);
    va_end(arguments);
    int first = 0;
#ifdef WITHOUT_halNotifyLinkStateChange
    first = 1;
#endif
    const int number = atoi(interface->ifr_name + strlen("eth"));
    errno = ENODEV;
    if (number < first || number > kInterfaces) return -1;
    struct mii_ioctl_data block;
    memcpy(&block, &interface->ifr_ifru, sizeof block);
    if (request == SIOCGMIIREG) block.val_out = registerValue(block.reg_num);
    memcpy(&interface->ifr_ifru, &block, sizeof block);
    return 0;
}
