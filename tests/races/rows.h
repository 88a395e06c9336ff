/* What a HAL does with the platform, by the rows of the table of docs/hal-interface.md that says
 * what shares state: calls of one row one at a time, of different rows side by side. */
#ifndef PCSIM_TESTS_RACES_ROWS_H
#define PCSIM_TESTS_RACES_ROWS_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "pcsim/card_slot.h"
#include "pcsim/family.h"
#include "pcsim/host_records.h"
#include "pcsim/system.h"

typedef struct Row {
    const char* name; /* as the document has it, up to the first comma or colon */
    void (*work)(uint32_t round);
} Row;

extern const Row kRows[];
extern const size_t kRowCount;

void useMacTable(uint32_t round);
void routeIpv4(uint32_t round);
void routeIpv6(uint32_t round);
void forwardMulticast(uint32_t round);
void filterPackets(uint32_t round);

enum { kSlots = 11 };

typedef struct Platform {
    HalSystemOps system;
    HalCardDb cards;
    HalFamilyOps family;
    HalCardSlotDb slots[kSlots];
    HalFanDb fans;
    HalFanSlotDb fan;
    HalPowerSupplyDb supplies;
    HalPSSlotDb supply;
} Platform;
extern Platform platform;

extern const pcSimDumpSink kSink;
int32_t complete(uint32_t argument1, uint32_t argument2, uint32_t zero1, uint32_t zero2);

static inline uint32_t portOf(uint32_t slot, uint32_t port) {
    return slot << 16 | port;
}

#define EXPECT(condition)                                                   \
    do {                                                                    \
        if (!(condition)) {                                                 \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            abort();                                                        \
        }                                                                   \
    } while (0)

/* What the rows need before anybody calls them: the platform initialised, its databases filled. */
void setUp(int isChassis);

/* The platform has written these bytes: MemorySanitizer is asked whether it has. */
void written(const void* bytes, size_t size);

/* The host: its shape, its traces all sent, its interfaces, and the timers that it was given. */
void beChassis(int isChassis);
void sendTraces(void);
void giveInterfaces(void);
void runLinkPoll(void);
void runDevicePoll(void);

#endif
