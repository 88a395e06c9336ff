/* What the rows share: the platform as a HAL has it, a sink for dumps, and a look at what was
 * written. */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#ifdef __has_feature
#if __has_feature(memory_sanitizer)
#include <sanitizer/msan_interface.h>
#define LOOK_AT(bytes, size) __msan_check_mem_is_initialized(bytes, size)
#endif
#endif

#include "tests/races/rows.h"

#ifndef LOOK_AT
#define LOOK_AT(bytes, size) ((void)(bytes), (void)(size))
#endif

Platform platform;

void written(const void* bytes, size_t size) {
    LOOK_AT(bytes, size);
}

static int print(uint32_t context, const char* format, ...) __attribute__((format(printf, 2, 3)));
const pcSimDumpSink kSink = {7, print};

static int print(uint32_t context, const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    written(text, strlen(text) + 1);
    return context == kSink.context ? length : -1;
}

int32_t complete(uint32_t argument1, uint32_t argument2, uint32_t zero1, uint32_t zero2) {
    EXPECT(argument1 == 1 && argument2 == 2 && zero1 == 0 && zero2 == 0);
    return 0;
}

void setUp(int isChassis) {
    beChassis(isChassis);
    giveInterfaces();
    EXPECT(platformSystemInit(&platform.system) == 0);
    HalChassisInfo info;
    memset(&info, 0, sizeof info);
    EXPECT(platform.system.chassisGetInfo(&info) == 0);
    written(&info, sizeof info);
    HalChassisCapability* const capability = platform.system.chassisGetCapability();
    EXPECT(capability != NULL);
    written(capability, sizeof *capability);
    written(capability->entries, capability->entryCount * sizeof capability->entries[0]);
    free(capability);
    EXPECT(platform.system.cardDBSetup(&platform.cards) == 0);
    EXPECT(platform.cards.ops.familyDBSetup(0, &platform.family) == 0);
    for (int32_t slot = 1; slot < kSlots; ++slot)
        EXPECT(platform.system.cardSlotDBSetup(slot, &platform.slots[slot]) == 0);
    EXPECT(platform.system.fanDBSetup(&platform.fans) == 0 &&
           platform.system.fanSlotDBSetup(1, &platform.fan) == 0);
    EXPECT(platform.system.psDBSetup(&platform.supplies) == 0 &&
           platform.system.psSlotDBSetup(1, &platform.supply) == 0);
    HalFdbEntry* table = NULL;
    EXPECT(platform.family.fdbInit(&table) == 0);
}
