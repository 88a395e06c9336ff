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

extern "C" __attribute__((visibility("default"))) int ioctl(int descriptor, unsigned long request,
                                                            ...) {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return pcsim::mii::answer(kernelIoctl, descriptor, request, argument);
}
