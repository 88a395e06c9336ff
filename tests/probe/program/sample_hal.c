// A HAL that does what its arguments say, one step after the other, for tests of what stands around
// it. It has the host functions that these steps need, and no others.
//
// usage: sample-hal LIBRARY STEP...
//   ask N        asks the chassis N times, takes a failure for an answer
//   need         asks once, and ends with 3 when that fails
//   trust        asks once, and uses what it hasn't got when that fails
//   insist       asks once, and waits for ever when that fails
//   until FILE   asks every millisecond until the file is there
//   rest FILE    asks nothing until the file is there
//   inside       the next question ends in a crash of the HAL's own function
//   raise N      sends itself a signal
//   fork         a child asks once
//   leave N      ends at once with N, without the ends of libraries
#include <dlfcn.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "pcsim/host.h"
#include "pcsim/system.h"

static HalSystemOps operations;
static int crashes;

int32_t dmGetPlatformType(void) {
    return 1;
}
uint32_t dmGetMaxVr(void) {
    return 4;
}
int32_t halAmIPrimary(void) {
    return 1;
}
int32_t getSystemMac(uint8_t* mac, int32_t ignored) {
    (void)ignored;
    if (crashes) raise(SIGSEGV);
    memset(mac, 2, 6);
    return 0;
}
int32_t halStartTimer(HalTimerFn* callback, uint32_t argument, uint32_t zero1, uint32_t periodMs,
                      uint32_t zero2) {
    (void)callback, (void)argument, (void)zero1, (void)periodMs, (void)zero2;
    return 0;
}
int32_t halRegisterDevice(struct HalDeviceRegistration* registration) {
    (void)registration;
    return 0;
}

static void boot(const char* library) {
    void* const platform = dlopen(library, RTLD_LAZY | RTLD_GLOBAL);
    HalPlatformSystemInitFn* init;
    if (platform == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        exit(9);
    }
    init = (HalPlatformSystemInitFn*)dlsym(platform, "platformSystemInit");
    if (init(&operations) != 0) exit(4);
}

static int32_t ask(void) {
    HalChassisInfo info;
    return operations.chassisGetInfo(&info);
}

static void waitFor(const char* file, int asking) {
    while (access(file, F_OK) != 0) {
        if (asking) ask();
        usleep(1000);
    }
}

static void askOrElse(const char* step) {
    volatile int* volatile const nowhere = NULL;
    if (ask() == 0) return;
    if (strcmp(step, "need") == 0) {
        fprintf(stderr, "the chassis doesn't answer\n");
        exit(3);
    }
    if (strcmp(step, "trust") == 0) *nowhere = 1;
    for (;;) pause();
}

static void forkOne(void) {
    const pid_t child = fork();
    if (child == 0) {
        ask();
        exit(0);
    }
    waitpid(child, NULL, 0);
}

int main(int argc, char** argv) {
    int i;
    if (argc < 2) return 2;
    boot(argv[1]);
    for (i = 2; i < argc; ++i) {
        const char* const step = argv[i];
        const char* const value = i + 1 < argc ? argv[i + 1] : "";
        if (strcmp(step, "ask") == 0) {
            int n;
            for (n = atoi(argv[++i]); n > 0; --n) printf("%d\n", (int)ask());
            fflush(stdout);
        } else if (strcmp(step, "until") == 0 || strcmp(step, "rest") == 0) {
            waitFor(argv[++i], step[0] == 'u');
        } else if (strcmp(step, "inside") == 0) {
            crashes = 1;
        } else if (strcmp(step, "raise") == 0) {
            raise(atoi(argv[++i]));
        } else if (strcmp(step, "fork") == 0) {
            forkOne();
        } else if (strcmp(step, "leave") == 0) {
            _exit(atoi(value));
        } else {
            askOrElse(step);
        }
    }
    return 0;
}
