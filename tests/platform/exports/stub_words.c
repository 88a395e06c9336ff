/* Words of operations that ignore their arguments are called as a HAL calls them: with arguments.
 * The same source is compiled as C and as C++. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "pcsim/card.h"
#include "pcsim/card_slot.h"
#include "pcsim/family.h"
#include "pcsim/system.h"

static int failures;

static void expectZero(int32_t result, const char* call) {
    if (result == 0) return;
    fprintf(stderr, "%s answers %d\n", call, (int)result);
    ++failures;
}
#define EXPECT_ZERO(call) expectZero(call, #call)

/* The one way from dlsym's result to a function that is right in both languages. */
static void find(void* library, const char* name, void* operation) {
    void* const found = dlsym(library, name);
    if (found == NULL) ++failures;
    memcpy(operation, &found, sizeof found);
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    void* const library = dlopen(argv[1], RTLD_LAZY);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    HalCardDBSetupFn* setUpCards = NULL;
    HalCardSlotDBSetupFn* setUpSlot = NULL;
    HalFamilyDBSetupFn* setUpFamily = NULL;
    find(library, "pcSimStackCardDBSetup", &setUpCards);
    find(library, "pcSimStackCardSlotDBSetup", &setUpSlot);
    find(library, "pcSimFamilyDBSetup", &setUpFamily);
    if (failures != 0) return 1;

    static HalCardDb cards;
    static HalCardSlotDb slot;
    static HalFamilyOps family;
    char record[4] = {0};
    setUpCards(&cards);
    setUpSlot(1, &slot);
    setUpFamily(0, &family);
    EXPECT_ZERO(cards.ops.cardOffline(1));
    EXPECT_ZERO(cards.ops.cardOffline());
    EXPECT_ZERO(slot.ops.cardSetOdometer(1, 5000));
    EXPECT_ZERO(slot.ops.cardLEDSet(1, 2, 3, 4));
    EXPECT_ZERO(slot.ops.cardPoePortEnable(0x10001u, record));
    EXPECT_ZERO(slot.ops.cardVlanSyncSlot(1));
    EXPECT_ZERO(family.vrCreate(2u, record, (void*)0));
    EXPECT_ZERO(family.trunkDelPorts(record, 1, record));
    EXPECT_ZERO(family.ipv4FibLookup(record));
    return failures != 0;
}
