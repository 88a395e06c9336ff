// libpcsim-probe.so.0: puts the boundary into any program that it is preloaded into.
//
// Two things happen to the program: each dlsym first looks whether a platform library has been
// loaded, and the environment loses what started the probe. Nothing else of the program's names is
// taken.
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string_view>

#include "probe/boundary/boundary.h"
#include "probe/preload/environment.h"
#include "probe/preload/session.h"

namespace pcsim::probe {

namespace {

// Of the C library, in the order in which they are looked for: dlsym moved house.
constexpr const char* kVersions[] = {"GLIBC_2.34", "GLIBC_2.0"};

std::atomic<void*> realLookup;
pid_t startedIn;

// What this library is called, whatever it has been renamed to.
std::string_view ownFile() {
    Dl_info own{};
    if (dladdr(&realLookup, &own) == 0) return "";
    const std::string_view path = own.dli_fname;
    return path.substr(path.rfind('/') + 1);
}

__attribute__((constructor)) void start(int, char**, char** variables) {
    environ = variables;  // the C library, which is set up later, doesn't know it yet
    leavePreload(variables, ownFile());
    startedIn = getpid();
    beginSession(takeVariable(variables, "PCSIM_PROBE"));
    Boundary::instance().attachLoaded();
}

__attribute__((destructor)) void end() {
    if (getpid() == startedIn) endSession();
}

}  // namespace

// Before each dlsym. Returns the C library's.
extern "C" __attribute__((visibility("hidden"))) void* pcsimProbeBeforeLookup() {
    const int error = errno;
    for (const char* version : kVersions)
        if (realLookup == nullptr) realLookup = dlvsym(RTLD_NEXT, "dlsym", version);
    Boundary::instance().attachLoaded();
    errno = error;
    return realLookup;
}

// The C library's dlsym tells by its return address who asks, and what RTLD_NEXT and RTLD_DEFAULT
// mean there: it is jumped to, with the stack as the caller left it.
asm(R"(
    .text
    .balign 16
    .globl dlsym
    .type dlsym, @function
dlsym:
    .cfi_startproc
    pushl %ebp
    .cfi_def_cfa_offset 8
    .cfi_offset ebp, -8
    movl %esp, %ebp
    .cfi_def_cfa_register ebp
    andl $-16, %esp
    call pcsimProbeBeforeLookup
    leave
    .cfi_def_cfa esp, 4
    .cfi_restore ebp
    jmp *%eax
    .cfi_endproc
    .size dlsym, . - dlsym
)");

}  // namespace pcsim::probe
