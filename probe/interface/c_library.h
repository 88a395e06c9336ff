// What the platform library calls of the C library, as far as something from outside comes in that
// way (time, files, link registers, chance, the environment), goes out as text, or memory changes
// hands.
//
// Read by tools/describe-interface. Compilers see the records alone: they have their own headers'
// declarations of the functions.
#ifndef PCSIM_PROBE_INTERFACE_C_LIBRARY_H
#define PCSIM_PROBE_INTERFACE_C_LIBRARY_H

#include "pcsim/base.h"

// A request about a network interface (ifreq), with what an MII request has in it; a request for
// the hardware address has its family in 'phyId' and the address behind it.
struct LibcInterfaceRequest {
    PCSIM_IS(text) char name[16];
    uint16_t phyId;
    uint16_t registerNumber;
    PCSIM_IS(hex) uint16_t valueIn;
    PCSIM_IS(hex) uint16_t valueOut;
    uint8_t rest[8];
};

#ifdef PCSIM_DESCRIBE

int socket(int domain, int type, int protocol);
int ioctl(int descriptor, PCSIM_IS(hex) unsigned long request,
          struct LibcInterfaceRequest* argument);
int open(PCSIM_IS(text) const char* path, PCSIM_IS(hex) int flags, ...);
int pread(int descriptor, PCSIM_IS(out, count size, result bytes) void* buffer, unsigned size,
          long offset);
int close(int descriptor);

PCSIM_IS(varies) long time(PCSIM_IS(out, varies) long* now);
PCSIM_IS(varies) int rand(void);
PCSIM_IS(text) char* getenv(PCSIM_IS(text) const char* name);

int printf(PCSIM_IS(format) const char* format, ...);
int fprintf(PCSIM_IS(ignored) void* stream, PCSIM_IS(format) const char* format, ...);
int puts(PCSIM_IS(text) const char* text);
int fputs(PCSIM_IS(text) const char* text, PCSIM_IS(ignored) void* stream);
int putchar(int character);

PCSIM_IS(given, new) void* malloc(unsigned size);
PCSIM_IS(given, new) void* calloc(unsigned count, unsigned size);
void free(PCSIM_IS(taken) void* block);
int madvise(PCSIM_IS(ignored) void* start, unsigned size, int advice);

#endif

#endif
