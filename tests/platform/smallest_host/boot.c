/* Boots the platform as every host does, then does what this one's functions allow, and says what
 * went wrong. The dynamic linker ends the process when a function is called that is not there.
 *
 * usage: PROGRAM LIBRARY stack|chassis [NAME...]    NAMEs: host functions that must get called */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>

#include "host.h"

int failures;

/* That a name is left out is the test; one that is misspelt must not look like it. */
static void checkLeftOut(void) {
    char names[] = LEFT_OUT;
    for (char* name = strtok(names, " "); name != NULL; name = strtok(NULL, " ")) {
        if (dlsym(RTLD_DEFAULT, name) == NULL) continue;
        fprintf(stderr, "%s is not left out\n", name);
        ++failures;
    }
}

/* A card with remote I/O reports a step later. */
static void finishStep(int slot, int32_t answer, int32_t state) {
    EXPECT(answer == 0 || answer == 1);
    if (answer != 1) return;
    runTasks();
    EXPECT(cardState(slot) == state);
}

static void drivePort(const HalCardSlotOps* ops, uint32_t portInstance, int expectLink) {
    uint32_t link = 0, duplex = 0, speed = 0, flowControl = 0, extra = 0;
    static PortStatsRecord counters;
    EXPECT(ops->cardPortEnable(portInstance, 1) == 0);
    EXPECT(ops->cardPortLinkInfo(portInstance, &link, &duplex, &speed, &flowControl, &extra) == 0);
    EXPECT((int)link == expectLink);
    EXPECT(ops->cardPortGetStats(portInstance, &counters) == 0);
    EXPECT(ops->cardPortZeroStats(portInstance) == 0);
    EXPECT(ops->cardPortEnable(portInstance, 0) == 0);
}

static void bootCard(Platform* platform, int slot) {
    HalCardSlotDb* db = &platform->slots[slot];
    static HalCardHwInfo info;
    EXPECT(platform->system.cardSlotDBSetup(slot, db) == 0);
    EXPECT(db->ops.cardGetHwInfo(slot, &info) == 0);
    HalCardCapability* capability = platform->cards.ops.cardGetCapability(slot, info.name);
    EXPECT(capability != NULL && capability->portCount == db->portCount);
    free(capability);
    finishStep(slot, platform->cards.ops.cardPowerEnable(slot, 1), HAL_CARD_STATE_POWERED_ON);
    EXPECT(db->ops.cardPowerOnCheck(slot) == 0);
    EXPECT(db->ops.cardInit(slot) == 0);
    finishStep(slot, db->ops.cardRunExtPost(slot, 10000), HAL_CARD_STATE_POST_DONE);
    finishStep(slot, db->ops.cardStartDownload(slot, "image"), HAL_CARD_STATE_DOWNLOADED);
    finishStep(slot, db->ops.cardStartBooting(slot), HAL_CARD_STATE_BOOTED);
    if (db->portCount > 12) return; /* the PC has twelve interfaces */
    for (uint32_t port = 1; port <= db->portCount; ++port)
        drivePort(&db->ops, (uint32_t)slot << 16 | port, 1);
}

static void readEnvironment(const Platform* platform) {
    HalFanDb fans;
    HalFanSlotDb fan;
    HalPowerSupplyDb supplies;
    HalPSSlotDb supply;
    uint32_t value = 0;
    EXPECT(platform->system.fanDBSetup(&fans) == 0 && fans.isPresent(1) == HAL_FAN_PRESENT);
    EXPECT(platform->system.fanSlotDBSetup(1, &fan) == 0 && fan.fanReadTemp(1, &value) == 0);
    EXPECT(platform->system.psDBSetup(&supplies) == 0 &&
           supplies.isPresent(1) == HAL_POWER_SUPPLY_PRESENT);
    EXPECT(platform->system.psSlotDBSetup(1, &supply) == 0 && supply.pSReadTemp(1, &value) == 0);
}

static void boot(Platform* platform) {
    HalPlatformSystemInitFn* init =
        (HalPlatformSystemInitFn*)dlsym(platform->library, "platformSystemInit");
    EXPECT(init(&platform->system) == 0);
    static HalChassisInfo info;
    EXPECT(platform->system.chassisGetInfo(&info) == 0);
    HalChassisCapability* capability = platform->system.chassisGetCapability();
    EXPECT(capability != NULL);
    free(capability);
    EXPECT(platform->system.cardDBSetup(&platform->cards) == 0);
    EXPECT(platform->cards.ops.familyDBSetup(0, &platform->family) == 0);
    int cards = 0;
    for (int slot = 1; slot <= (isChassis ? kSlots - 1 : 1); ++slot) {
        if (platform->cards.ops.isCardHwPresent(slot) != HAL_CARD_HW_PRESENT) continue;
        bootCard(platform, slot);
        ++cards;
    }
    EXPECT(cards == (isChassis ? 9 : 1));
    EXPECT(platform->slots[1].portCount == (isChassis ? 2 : 12));
    readEnvironment(platform);
    runTimers();
    EXPECT(wasCalled("halUpdateDeviceInfo"));
}

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    isChassis = strcmp(argv[2], "chassis") == 0;
    unsetenv("VORN_SLOT_ID");
    unsetenv("VORN_TEST_UNKNOWN_CARD");
    unsetenv("HAL_SIM_REMOTE_IO");
#if !defined WITHOUT_halScheduleTask && !defined WITHOUT_halCardStatusUpdate
    setenv("HAL_SIM_REMOTE_IO", "1", 1); /* a chassis alone looks at it */
#endif
    static Platform platform;
    checkLeftOut();
    platform.library = dlopen(argv[1], RTLD_LAZY);
    if (platform.library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    turnTracesOn(platform.library);
    boot(&platform);
    doEverything(&platform);
    for (int i = 3; i < argc; ++i) {
        if (wasCalled(argv[i])) continue;
        fprintf(stderr, "%s is never called\n", argv[i]);
        ++failures;
    }
    return failures != 0;
}
