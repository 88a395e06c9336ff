// Takes the place of the C library's ioctl, in a preloaded library or in the executable.
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>

#include "mii/mii.h"

namespace {

int kernelIoctl(int descriptor, unsigned long request, void* argument) {
    return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}

}  // namespace

#define EXPORTED __attribute__((visibility("default")))

extern "C" EXPORTED int ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return pcsim::mii::answer(kernelIoctl, descriptor, request, argument);
}

// What a 32-bit program with 64-bit time calls instead. The kernel tells old and new time apart by
// the request, so the two are one.
extern "C" EXPORTED int __ioctl_time64(int descriptor, unsigned long request, ...)
    __attribute__((alias("ioctl")));
