/* A host without a PoE manager: it loads the library, has no 'poeHandle', and its queries are
 * answered to handle 0. Takes the library's path. */
#include <dlfcn.h>
#include <stdio.h>

#include "pcsim/host.h"

static int replies;
static uint32_t lastHandle = 99;

int32_t replyHandleSend(uint32_t handle, uint32_t messageId, const void* message, uint32_t length,
                        int32_t flag) {
    (void)messageId, (void)message, (void)length, (void)flag;
    ++replies;
    lastHandle = handle;
    return 0;
}

int main(int argc, char** argv) {
    void* library = argc == 2 ? dlopen(argv[1], RTLD_LAZY) : NULL;
    if (library == NULL) {
        fprintf(stderr, "cannot load the library: %s\n", argc == 2 ? dlerror() : "no path");
        return 1;
    }
    int32_t (*getVersion)(uint32_t) = dlsym(library, "pcSimCardPoeGetVersion");
    if (getVersion == NULL || getVersion(1) != 0 || replies != 1 || lastHandle != 0) {
        fprintf(stderr, "%d replies, the last to handle %u\n", replies, lastHandle);
        return 1;
    }
    return 0;
}
