/* A complete minimal host: loads the platform, boots it in either shape and shows what it found.
 *
 * usage: minimal-host LIBRARY stack|chassis
 * Compiled with -DLINKED_WITH_THE_PLATFORM and linked with the library, it ignores LIBRARY.
 * It provides every host function that booting, ports and routes need, follows the chain of tables
 * and takes each card through its life. Time is simulated: tasks run when nothing else is to do. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "pcsim/card_slot.h"
#include "pcsim/ems.h"
#include "pcsim/family.h"
#include "pcsim/host.h"
#include "pcsim/host_records.h"
#include "pcsim/host_tree.h"
#include "pcsim/l3.h"
#include "pcsim/system.h"

enum { kSlots = 11, kTasks = 64, kTimers = 4 };

/* --- The host's state ------------------------------------------------------------------------ */

struct Task {
    HalTaskFn* run;
    uint32_t argument1, argument2, dueMs;
};

static int isChassis;
static uint32_t nowMs;
static struct Task tasks[kTasks];
static unsigned taskCount;
static struct {
    HalTimerFn* run;
    uint32_t argument, periodMs;
} timers[kTimers];
static unsigned timerCount;
static int cardState[kSlots]; /* the last HAL_CARD_STATE_... reported, 0 for none */
static HalCardSlotDb slots[kSlots];

/* --- Host functions: system, timers, tasks ---------------------------------------------------- */

int32_t dmGetPlatformType(void) {
    return isChassis ? HAL_PLATFORM_CHASSIS : 1;
}
uint32_t dmGetMaxVr(void) {
    return 4;
}
int32_t halAmIPrimary(void) {
    return 1;
}
uint32_t monotime(int32_t ignored) {
    return nowMs;
}

int32_t getSystemMac(uint8_t* mac, int32_t ignored) {
    static const uint8_t kMac[6] = {0x02, 0, 0, 0, 0, 0x01};
    memcpy(mac, kMac, sizeof kMac);
    return 0;
}

void setCheckpointStats(int32_t a, int32_t b, int32_t percent) {}

int32_t halStartTimer(HalTimerFn* callback, uint32_t argument, uint32_t zero1, uint32_t periodMs,
                      uint32_t zero2) {
    if (timerCount == kTimers) return -1;
    timers[timerCount].run = callback;
    timers[timerCount].argument = argument;
    timers[timerCount++].periodMs = periodMs;
    return 0;
}

int32_t halScheduleTask(HalTaskFn* task, uint32_t argument1, uint32_t argument2, uint32_t delay,
                        const char* name) {
    if (taskCount == kTasks) return -1;
    tasks[taskCount++] = (struct Task){task, argument1, argument2, nowMs + delay};
    return 0;
}

/* Lets a second pass: everything that is due runs, timers after tasks. */
static void passSecond(void) {
    nowMs += 1000;
    for (unsigned i = 0; i < taskCount;) {
        const struct Task task = tasks[i];
        if (task.dueMs > nowMs) {
            ++i;
            continue;
        }
        tasks[i] = tasks[--taskCount];
        task.run(task.argument1, task.argument2);
    }
    for (unsigned i = 0; i < timerCount; ++i)
        if (nowMs % timers[i].periodMs == 0) timers[i].run(timers[i].argument);
}

/* --- Host functions: cards and ports ---------------------------------------------------------- */

int32_t halCardStatusUpdate(int32_t slot, int32_t state, uint32_t argument) {
    if (slot >= 0 && slot < kSlots) cardState[slot] = state;
    return 0;
}

const char* halGetCardStateString(int32_t state) {
    return "state";
}
int32_t halIsCardOperational(uint32_t slot) {
    return slot < kSlots && cardState[slot] == HAL_CARD_STATE_BOOTED;
}
const char* getSlotName(int32_t slot) {
    static char name[16];
    snprintf(name, sizeof name, "slot %d", slot);
    return name;
}
int32_t getMgmtPort(uint32_t slot) {
    return 1;
}

uint32_t halGetHwPortMapping(uint32_t slot, uint32_t port) {
    if (slot >= kSlots || slots[slot].portMap == NULL) return 0xFFFF;
    return port >= 1 && port <= slots[slot].portCount ? slots[slot].portMap[port - 1] : 0xFFFF;
}

const char* halPortInstName(uint32_t portInstance) {
    static char name[16];
    snprintf(name, sizeof name, "%u:%u", portInstance >> 16 & 0xFF, portInstance & 0xFFFF);
    return name;
}

int32_t halNotifyLinkStateChange(uint32_t portInstance, uint32_t link, uint32_t duplex,
                                 uint32_t speed, uint32_t flowControl, uint32_t zero1,
                                 uint32_t zero2) {
    printf("management port %s: link %s\n", halPortInstName(portInstance), link ? "up" : "down");
    return 0;
}

/* --- Host functions: devices, replies, the logger --------------------------------------------- */

uint32_t poeHandle;
HalGlobal gHal;

int32_t halRegisterDevice(struct HalDeviceRegistration* registration) {
    printf("devices: %u\n", registration->deviceCount);
    return 0;
}
int32_t halUpdateDeviceInfo(struct HalDeviceInfo* info, uint32_t reply) {
    printf("device %u: state %u\n", info->device, info->reportedState);
    return 0;
}
int32_t halUpdateDeviceStatus(struct HalDeviceStatus* status, uint32_t reply) {
    return 0;
}
int32_t halDeviceCmdError(const struct HalDeviceCommand* command, int32_t error, const char* text) {
    printf("device command: %d, %s", error, text);
    return 0;
}
int32_t replyHandleSend(uint32_t handle, uint32_t id, const void* message, uint32_t length,
                        int32_t flag) {
    return 0;
}

/* The library's own handles are null, so it never gets here; a host that wants traces fills them.
 */
int emsNotifyIncident(const char* file, int line, const char* function, HalEmsComponent* component,
                      uint32_t id, const char* format, va_list arguments) {
    printf("%s: ", function);
    return vprintf(format, arguments);
}
int emsRegisterComponent(int kind, HalEmsDescriptor* descriptor, HalEmsComponent** handle) {
    return -1;
}

/* --- Host functions: interface records. This host has none. ----------------------------------- */

void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    *record = NULL;
}
void getPifByPortInstance(uint32_t instance, HalPif** record) {
    *record = NULL;
}
void getPifBySlotPort(uint32_t slot, uint32_t port, HalPif** record) {
    *record = NULL;
}
HalPif* getFirstPif(void) {
    return NULL;
}
HalPif* getNextPif(uint32_t instance) {
    return NULL;
}

/* --- Host functions: the ordered tree, as a sorted list. A real host balances it. ------------- */

int32_t p2BtreeInsert(HalTreeNode* node, HalTreeRoot* root, HalTreeCompareFn* compare) {
    HalTreeNode** link = root;
    while (*link != NULL && compare(node, *link) > 0) link = (HalTreeNode**)&(*link)->links[0];
    if (*link != NULL && compare(node, *link) == 0) return -1;
    node->links[0] = *link;
    *link = node;
    return 0;
}
int32_t p2BtreeDelete(HalTreeNode* node, HalTreeRoot* root) {
    HalTreeNode** link = root;
    while (*link != NULL && *link != node) link = (HalTreeNode**)&(*link)->links[0];
    if (*link == node) *link = node->links[0];
    return 0;
}
HalTreeNode* p2BtreeFirst(HalTreeRoot* root) {
    return *root;
}
HalTreeNode* p2BtreeNext(HalTreeNode* node) {
    return node->links[0];
}
HalTreeNode* findNode(const HalTreeNode* key, HalTreeRoot root, HalTreeCompareFn* compare) {
    while (root != NULL && compare(key, root) != 0) root = root->links[0];
    return root;
}

/* --- Booting ---------------------------------------------------------------------------------- */

/* A step is done when the platform answers 0, or when its report has arrived if it answered 1. */
static void finishStep(int slot, int32_t answer, int state) {
    if (answer == 0) cardState[slot] = state;
    while (cardState[slot] != state) passSecond();
}

static void bootCard(const HalSystemOps* system, const HalCardDb* cards, int slot) {
    HalCardSlotDb* db = &slots[slot];
    HalCardHwInfo info;
    memset(&info, 0, sizeof info);
    system->cardSlotDBSetup(slot, db);
    db->ops.cardGetHwInfo(slot, &info);
    finishStep(slot, cards->ops.cardPowerEnable(slot, 1), HAL_CARD_STATE_POWERED_ON);
    db->ops.cardPowerOnCheck(slot);
    db->ops.cardInit(slot);
    finishStep(slot, db->ops.cardRunExtPost(slot, 10000), HAL_CARD_STATE_POST_DONE);
    finishStep(slot, db->ops.cardStartDownload(slot, "image"), HAL_CARD_STATE_DOWNLOADED);
    finishStep(slot, db->ops.cardStartBooting(slot), HAL_CARD_STATE_BOOTED);
    printf("slot %d: %s, %u ports, operational at %u ms\n", slot, info.name, db->portCount, nowMs);
    for (uint32_t port = 1; port <= db->portCount; ++port) {
        const uint32_t instance = (uint32_t)slot << 16 | port;
        uint32_t link = 0, duplex = 0, speed = 0, flow = 0, extra = 0;
        db->ops.cardPortEnable(instance, 1);
        db->ops.cardPortLinkInfo(instance, &link, &duplex, &speed, &flow, &extra);
        printf("  port %d:%u is %s\n", slot, port, link ? "up" : "down");
    }
}

/* One route through one gateway, programmed and shown by the platform itself. */
static void programRoute(const HalFamilyOps* family) {
    static union {
        pcSimIPv4FibReq request;
        uint8_t bytes[64];
    } route;
    static const uint8_t kPrefix[4] = {10, 1, 0, 0}, kMask[4] = {255, 255, 0, 0},
                         kGateway[4] = {10, 0, 0, 1};
    memcpy(&route.request.prefix, kPrefix, 4);
    memcpy(&route.request.mask, kMask, 4);
    route.request.count = 1;
    memcpy(&route.request.slots[0].gateway, kGateway, 4);
    route.request.slots[0].vlan = 5;
    family->ipv4FibAddEntry(&route.request);
    family->ipv4FibDump(NULL);
    route.request.count = 0;
    family->ipv4FibDeleteEntry(&route.request);
}

static HalPlatformSystemInitFn* findInit(const char* library) {
#ifdef LINKED_WITH_THE_PLATFORM
    return platformSystemInit;
#else
    void* platform = dlopen(library, RTLD_LAZY | RTLD_GLOBAL);
    if (platform == NULL) return fprintf(stderr, "minimal-host: %s\n", dlerror()), NULL;
    return (HalPlatformSystemInitFn*)dlsym(platform, "platformSystemInit");
#endif
}

int main(int argc, char** argv) {
    if (argc != 3) return fprintf(stderr, "usage: minimal-host LIBRARY stack|chassis\n"), 2;
    isChassis = strcmp(argv[2], "chassis") == 0;
    HalPlatformSystemInitFn* init = findInit(argv[1]);
    HalSystemOps system;
    if (init == NULL || init(&system) != 0)
        return fprintf(stderr, "minimal-host: %s is no platform library\n", argv[1]), 1;
    HalChassisInfo info;
    memset(&info, 0, sizeof info);
    system.chassisGetInfo(&info);
    printf("%s (%s), own slot %d\n", info.modelName, info.description, info.ownSlot);

    HalCardDb cards;
    static HalFamilyOps family;
    system.cardDBSetup(&cards);
    cards.ops.familyDBSetup(0, &family);
    for (int slot = 1; slot <= (isChassis ? 10 : 1); ++slot)
        if (cards.ops.isCardHwPresent(slot) == HAL_CARD_HW_PRESENT) bootCard(&system, &cards, slot);
    programRoute(&family);
    for (int second = 0; second < 5; ++second) passSecond();
    return 0;
}
