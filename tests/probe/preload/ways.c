/* A host that does, one at a time, what hosts do to a library beside calling it, and says what came
 * of it. It is run with and without the probe, and must say the same.
 *
 * usage: PROGRAM LIBRARY WAY
 * Compiled with LINKED it is linked with the library and ignores LIBRARY. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <pthread.h>
#include <setjmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "pcsim/card.h"
#include "pcsim/family.h"
#include "pcsim/host.h"
#include "pcsim/l2.h"
#include "pcsim/system.h"

/* --- What the library needs to boot --------------------------------------------------------- */

static HalTaskFn* scheduled;
static uint32_t scheduledArguments[2];

#ifndef WITHOUT_dmGetPlatformType
int32_t dmGetPlatformType(void) {
    return 1;
}
#endif
uint32_t dmGetMaxVr(void) {
    return 1;
}
int32_t halStartTimer(HalTimerFn* callback, uint32_t argument, uint32_t zero1, uint32_t periodMs,
                      uint32_t zero2) {
    return 0;
}
int32_t halRegisterDevice(struct HalDeviceRegistration* registration) {
    return 0;
}
int32_t getSystemMac(uint8_t* mac, int32_t ignored) {
    memset(mac, 2, 6);
    return 0;
}
int32_t halScheduleTask(HalTaskFn* task, uint32_t argument1, uint32_t argument2, uint32_t delay,
                        const char* name) {
    scheduled = task;
    scheduledArguments[0] = argument1;
    scheduledArguments[1] = argument2;
    return 0;
}

/* --- The ways ------------------------------------------------------------------------------- */

static void* library;
static HalSystemOps system_;

static void* find(const char* name) {
    void* const found = dlsym(library, name);
    if (found == NULL) printf("there is no %s: %s\n", name, dlerror());
    return found;
}

static int boot(void) {
#ifdef LINKED
    return platformSystemInit(&system_);
#else
    HalPlatformSystemInitFn* const init = (HalPlatformSystemInitFn*)find("platformSystemInit");
    return init(&system_);
#endif
}

static int byName(void) {
    HalGetMySlotNumFn* const byHandle = (HalGetMySlotNumFn*)find("pcSimGetMySlotNum");
    HalGetMySlotNumFn* const byScope = (HalGetMySlotNumFn*)dlsym(RTLD_DEFAULT, "pcSimGetMySlotNum");
    HalModuleIoctlFn* const ioctlByName = (HalModuleIoctlFn*)find("pcSimModuleIoctl");
    printf("slots %d %d, same %d, word %d\n", byHandle(), byScope(), byHandle == byScope,
           ioctlByName == system_.moduleIoctl);
    printf("nothing %p %d\n", dlsym(library, "pcSimNoSuchName"), dlerror() != NULL);
    const uint32_t* const ports = find("pcSimSystemNumPorts");
    printf("variable %d, result %d\n", ports != NULL, ioctlByName(0, 77, NULL));
    return 0;
}

#ifdef LINKED
static int linked(void) {
    HalGetMySlotNumFn* const kOwn = pcSimGetMySlotNum;
    HalModuleIoctlFn* volatile kept = pcSimModuleIoctl;
    printf("slots %d %d, result %d %d, word %d\n", pcSimGetMySlotNum(), kOwn(),
           pcSimModuleIoctl(0, 77, NULL), kept(0, 77, NULL), kept == system_.moduleIoctl);
    return 0;
}
#endif

static int tables(void) {
    HalCardDb cards;
    system_.cardDBSetup(&cards);
    static HalFamilyOps first, second, copy;
    cards.ops.familyDBSetup(0, &first);
    cards.ops.familyDBSetup(0, &second);
    copy = first;
    printf("same %d\n", memcmp(&copy, &second, sizeof copy) == 0);
    unsigned words = 0;
    for (unsigned i = 0; i < sizeof copy / sizeof(void*); ++i) words += ((void**)&copy)[i] != NULL;
    printf("words %u\n", words);
    HalSystemOps* const kept =
        mmap(NULL, sizeof *kept, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    *kept = system_;
    mprotect(kept, sizeof *kept, PROT_READ);
    HalChassisInfo info;
    memset(&info, 0, sizeof info);
    printf("result %d %d %s\n", kept->moduleIoctl(0, 77, NULL), kept->chassisGetInfo(&info),
           info.modelName);
    return 0;
}

static int forked(void) {
    fflush(stdout);
    for (int i = 0; i < 3; ++i) system_.moduleIoctl(0, 77, NULL);
    const pid_t child = fork();
    if (child == 0) {
        for (int i = 0; i < 4; ++i) system_.moduleIoctl(0, 77, NULL);
        printf("child %d\n", system_.moduleIoctl(0, 77, NULL));
        exit(5);
    }
    int status = 0;
    waitpid(child, &status, 0);
    printf("parent %d, child %d\n", system_.moduleIoctl(0, 77, NULL), WEXITSTATUS(status));
    return 0;
}

static void* callOften(void* failures) {
    for (int i = 0; i < 5000; ++i) *(unsigned*)failures += system_.moduleIoctl(0, 77, NULL) == -2;
    return failures;
}

static int threads(void) {
    pthread_t thread[3];
    unsigned failures[3] = {0};
    for (int i = 0; i < 3; ++i) pthread_create(&thread[i], NULL, callOften, &failures[i]);
    for (int i = 0; i < 3; ++i) pthread_join(thread[i], NULL);
    printf("failures %u %u %u\n", failures[0], failures[1], failures[2]);
    return 0;
}

static HalCardDb cards;
static volatile int isEnough;
static void* fillOften(void* nothing) {
    static HalFamilyOps family;
    while (!isEnough) cards.ops.familyDBSetup(0, &family);
    return nothing;
}

/* Forks while another thread is busy with tables, and fills one in each child. */
static int forkedBusy(void) {
    system_.cardDBSetup(&cards);
    pthread_t thread;
    pthread_create(&thread, NULL, fillOften, NULL);
    int ended = 0;
    for (int i = 0; i < 200; ++i) {
        const pid_t child = fork();
        static HalFamilyOps family;
        if (child == 0) _exit(cards.ops.familyDBSetup(0, &family) == 0 ? 0 : 1);
        int status = 1;
        waitpid(child, &status, 0);
        ended += status == 0;
    }
    isEnough = 1;
    pthread_join(thread, NULL);
    printf("children %d\n", ended);
    return 0;
}

static jmp_buf outside;
static int32_t leave(uint32_t argument1, uint32_t argument2, uint32_t zero1, uint32_t zero2) {
    longjmp(outside, (int)argument1);
}

static int jump(void) {
    HalFdbFlushFn* const flush = (HalFdbFlushFn*)find("pcSimPCFamFdbFlush");
    printf("flush %d\n", flush(0, 0, leave, 6, 7));
    for (volatile int i = 0; i < 3; ++i) {
        const int left = setjmp(outside);
        if (left == 0) scheduled(scheduledArguments[0], scheduledArguments[1]);
        printf("left %d, result %d\n", left, system_.moduleIoctl(0, 77, NULL));
    }
    return 0;
}

/* Closes the library, which then is loaded again with its first values. */
static int again(void) {
    HalGetMySlotNumFn* slot = (HalGetMySlotNumFn*)find("pcSimGetMySlotNum");
    uint32_t* ports = find("pcSimSystemNumPorts");
    *ports = 77;
    printf("slot %d\n", slot());
    printf("closed %d\n", dlclose(library));
    library = dlopen("libpcsimulation.so.0", RTLD_LAZY | RTLD_NOLOAD);
    printf("gone %d\n", library == NULL);
    library = dlopen(getenv("WAYS_LIBRARY"), RTLD_LAZY | RTLD_GLOBAL);
    slot = (HalGetMySlotNumFn*)find("pcSimGetMySlotNum");
    ports = find("pcSimSystemNumPorts");
    printf("slot %d, ports %u, boot %d\n", slot(), *ports, boot());
    printf("result %d\n", system_.moduleIoctl(0, 77, NULL));
    return 0;
}

/* What a program started from here finds of the probe. */
static int started(void) {
    fflush(stdout);
    return system("env | grep -E '^(LD_PRELOAD|PCSIM_PROBE)='; exit 3") >> 8;
}

int main(int argc, char** argv) {
    static const struct {
        const char* name;
        int (*run)(void);
    } kWays[] = {
        {"fork-busy", forkedBusy}, {"by-name", byName}, {"tables", tables}, {"fork", forked},
        {"threads", threads},      {"jump", jump},      {"again", again},   {"started", started},
#ifdef LINKED
        {"linked", linked},
#endif
    };
    if (argc != 3) return 2;
    library = dlopen(argv[1], RTLD_LAZY | RTLD_GLOBAL);
    setenv("WAYS_LIBRARY", argv[1], 1);
    printf("boot %d\n", boot());
    for (unsigned i = 0; i < sizeof kWays / sizeof *kWays; ++i)
        if (strcmp(kWays[i].name, argv[2]) == 0) return kWays[i].run();
    return 2;
}
