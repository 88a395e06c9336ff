/* A host that defines a component handle and operations itself: the library uses the host's. */
#include <dlfcn.h>
#include <stdio.h>

#include "pcsim/card_slot.h"
#include "pcsim/ems.h"
#include "pcsim/l2.h"
#include "pcsim/system.h"

HalEmsComponent* _ems_HAL_Sys_ComponentHandle;

static HalEmsLevel level = {{0}, 2};
static uint32_t counters[8];
static const uint8_t mask[1] = {0x02};
static HalEmsComponent component = {{0}, &level, counters, mask};

static HalEmsComponent* seen;
static uint32_t seenId;

int emsNotifyIncident(const char* file, int line, const char* function, HalEmsComponent* of,
                      uint32_t incidentId, const char* format, va_list arguments) {
    (void)file, (void)line, (void)function, (void)format, (void)arguments;
    seen = of;
    seenId = incidentId;
    return 0;
}

/* In place of the library's rule. */
uint32_t pcSimChassisCardGetId(int32_t slot) {
    return slot == 3 ? 407u : 0u;
}

uint32_t pcSimFdbHash(const uint8_t* mac) {
    return 0x10000u + mac[5];
}

static HalVlanIf vlanIf;

void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    *record = instance == 7 ? &vlanIf : NULL;
}

/* The bucket that the library takes for an address: of the host's hash 16 bits count. */
static int usesOwnHash(void* library) {
    __typeof__(pcSimPCFamFdbInit)* init = dlsym(library, "pcSimPCFamFdbInit");
    __typeof__(pcSimPCFamFdbAllocEntry)* allocate = dlsym(library, "pcSimPCFamFdbAllocEntry");
    const HalFdbKey key = {7, {0x02, 0, 0, 0, 0, 9}};
    HalFdbEntry* table = NULL;
    HalFdbEntry* slot = NULL;
    uint32_t handle = 0;
    vlanIf.instance = 7;
    vlanIf.vlanId = 0x100;
    if (init == NULL || allocate == NULL || init(&table) != 0) return 0;
    return allocate(&handle, &slot, &key) == 0 && slot == table + 0x109 * HAL_FDB_BUCKET_ENTRIES;
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    _ems_HAL_Sys_ComponentHandle = &component;
    void* library = dlopen(argv[1], RTLD_LAZY);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    __typeof__(pcSimModuleIoctl)* control = dlsym(library, "pcSimModuleIoctl");
    __typeof__(pcSimChassisCardSlotDBSetup)* setUpSlot =
        dlsym(library, "pcSimChassisCardSlotDBSetup");
    if (control == NULL || setUpSlot == NULL) return 1;
    if (control(0, 9, NULL) != -2 || seen != &component || seenId != 0x520001u ||
        counters[1] != 1) {
        fprintf(stderr, "the library uses a handle of its own\n");
        return 1;
    }
    static HalCardSlotDb slotRecord;
    setUpSlot(3, &slotRecord);
    if (slotRecord.portCount != 128) {
        fprintf(stderr, "the library uses a slot rule of its own\n");
        return 1;
    }
    if (!usesOwnHash(library)) {
        fprintf(stderr, "the library uses a hash of its own\n");
        return 1;
    }
    return 0;
}
