/* A process without a single host function loads the library: nothing is called, opened or started,
 * every global has its value at load, and what needs no host works. */
#include <dirent.h>
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "pcsim/card.h"
#include "pcsim/l3.h"
#include "pcsim/system.h"

static int failures;

#define EXPECT(condition)                                           \
    do {                                                            \
        if (!(condition)) {                                         \
            fprintf(stderr, "line %d: %s\n", __LINE__, #condition); \
            ++failures;                                             \
        }                                                           \
    } while (0)

static unsigned entriesOf(const char* path) {
    unsigned count = 0;
    DIR* directory = opendir(path);
    if (directory == NULL) return 0;
    while (readdir(directory) != NULL) ++count;
    closedir(directory);
    return count;
}

static int allZero(const void* bytes, size_t size) {
    const uint8_t* next = bytes;
    for (size_t i = 0; i < size; ++i)
        if (next[i] != 0) return 0;
    return 1;
}

static const char* const kHandles[] = {
    "_ems_HAL_Sys_ComponentHandle",  "_ems_HAL_Card_ComponentHandle",
    "_ems_HAL_Port_ComponentHandle", "_ems_HAL_VLAN_ComponentHandle",
    "_ems_HAL_FDB_ComponentHandle",  "_ems_trace_ComponentHandle",
};

static const struct {
    const char* name;
    uint32_t value;
} kWords[] = {
    {"pcSimCardPresentMask", 0xFFFF06FFu},
    {"pcSimFanPresentMask", 0x0000000Fu},
    {"pcSimPowerSupplyPresentMask", 0x0000001Eu},
    {"simulateRemoteIO", 0},
    {"pcSimSystemNumPorts", 0},
    {"skfd", 0xFFFFFFFFu},
};

static const struct {
    const char* name;
    size_t size;
} kTables[] = {
    {"portInfo", 11 * 257},
    {"currstats", 11 * 257 * 1196},
    {"prevstats", 11 * 257 * 1196},
};

static void checkGlobals(void* library) {
    for (size_t i = 0; i < sizeof kHandles / sizeof *kHandles; ++i) {
        void** handle = dlsym(library, kHandles[i]);
        EXPECT(handle != NULL && *handle == NULL);
    }
    for (size_t i = 0; i < sizeof kWords / sizeof *kWords; ++i) {
        const uint32_t* word = dlsym(library, kWords[i].name);
        if (word == NULL || *word != kWords[i].value) {
            fprintf(stderr, "%s has another value\n", kWords[i].name);
            ++failures;
        }
    }
    for (size_t i = 0; i < sizeof kTables / sizeof *kTables; ++i) {
        const void* table = dlsym(library, kTables[i].name);
        if (table == NULL || !allZero(table, kTables[i].size)) {
            fprintf(stderr, "%s is not zero\n", kTables[i].name);
            ++failures;
        }
    }
}

/* Operations that call no host function. */
static void checkOperations(void* library) {
    __typeof__(pcSimGetMySlotNum)* ownSlot = dlsym(library, "pcSimGetMySlotNum");
    __typeof__(pcSimChassisCardGetId)* cardType = dlsym(library, "pcSimChassisCardGetId");
    __typeof__(pcSimStackSystemDBSetup)* setUp = dlsym(library, "pcSimStackSystemDBSetup");
    EXPECT(ownSlot != NULL && cardType != NULL && setUp != NULL);
    if (failures != 0) return;
    unsetenv("VORN_SLOT_ID");
    EXPECT(ownSlot() == 1);
    setenv("VORN_SLOT_ID", "12", 1);
    EXPECT(ownSlot() == 12);
    EXPECT(cardType(3) == 404);
    /* Without a global record the assertion switch is off: the null nodes are reported, not fatal.
     */
    __typeof__(pcSimIpAdjComp)* compare = dlsym(library, "pcSimIpAdjComp");
    EXPECT(compare != NULL && compare(NULL, NULL) == 0);
    HalSystemOps table;
    EXPECT(setUp(&table) == 0);
    HalChassisGetInfoFn* getInfo = dlsym(library, "pcSimStackChassisGetInfo");
    EXPECT(table.chassisGetInfo == getInfo);
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    setenv("HAL_SIM_REMOTE_IO", "1", 1); /* read by a setup, never at load */
    const unsigned descriptors = entriesOf("/proc/self/fd");
    const unsigned threads = entriesOf("/proc/self/task");
    void* library = dlopen(argv[1], RTLD_LAZY);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    EXPECT(entriesOf("/proc/self/fd") == descriptors);
    EXPECT(entriesOf("/proc/self/task") == threads);
    checkGlobals(library);
    checkOperations(library);
    EXPECT(dlsym(library, "pcSimCardDBInfoTrace") == NULL); /* ours alone */
    EXPECT(dlclose(library) == 0);
    return failures != 0;
}
