/* A host that lacks whatever the build names: WITHOUT_name for each function or variable that it is
 * to do without. host.c has the host functions, boot.c what every host does, everything.c what a
 * host does whose functions allow it. */
#ifndef PCSIM_TESTS_SMALLEST_HOST_HOST_H
#define PCSIM_TESTS_SMALLEST_HOST_HOST_H

#include <stdint.h>
#include <stdio.h>

#include "pcsim/card_slot.h"
#include "pcsim/family.h"
#include "pcsim/system.h"

enum { kSlots = 11 };

typedef struct Platform {
    void* library;
    HalSystemOps system;
    HalCardDb cards;
    HalFamilyOps family;
    HalCardSlotDb slots[kSlots];
} Platform;

extern int failures;
extern int isChassis;
/* The tree refuses insertions. */
extern int refuseInsert;

#define EXPECT(condition)                                                   \
    do {                                                                    \
        if (!(condition)) {                                                 \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            ++failures;                                                     \
        }                                                                   \
    } while (0)

/* Whether the library has called the host function 'name'. */
int wasCalled(const char* name);

/* Runs the tasks that the library has scheduled, or the callbacks of its timers. */
void runTasks(void);
void runTimers(void);

/* What the host was last told of the card in 'slot'. */
int32_t cardState(int32_t slot);

/* Sends all traces, where the host can take them. */
void turnTracesOn(void* library);

void doEverything(const Platform* platform);

#endif
