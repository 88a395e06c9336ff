// Where the library's wrapped C library calls arrive (the linker's --wrap).
#include "tests/support/libc.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace pcsim::test {

LibcState& libc() {
    static LibcState state;
    return state;
}

namespace {

bool allocationFails() {
    LibcState& state = libc();
    ++state.allocationCalls;
    if (state.failAllocation == 0) return false;
    if (state.failAllocation > 1) {
        --state.failAllocation;
        return false;
    }
    if (!state.failForEver) state.failAllocation = 0;
    errno = ENOMEM;
    return true;
}

void* allocated(void* block) {
    if (block != nullptr) {
        ++libc().allocations;
        ++libc().blocksInUse;
    }
    return block;
}

// The path to open instead of 'path'; null when the open is to fail.
const char* redirected(const char* path) {
    const LibcState& state = libc();
    if (!state.redirectTo || state.redirectedPath != path) return path;
    if (state.redirectTo->empty()) {
        errno = ENOENT;
        return nullptr;
    }
    return state.redirectTo->c_str();
}

}  // namespace
}  // namespace pcsim::test

using namespace pcsim::test;

extern "C" {

// Memory from malloc is never zero here, so that what the library leaves unset shows.
void* __wrap_malloc(size_t size) {
    void* block = allocationFails() ? nullptr : allocated(malloc(size));
    if (block != nullptr) std::memset(block, 0xA5, size);
    return block;
}

void* __wrap_calloc(size_t count, size_t size) {
    return allocationFails() ? nullptr : allocated(calloc(count, size));
}

void* __wrap_realloc(void* block, size_t size) {
    if (allocationFails()) return nullptr;
    void* moved = realloc(block, size);
    if (block == nullptr) return allocated(moved);
    if (moved == nullptr && size == 0) --libc().blocksInUse;
    return moved;
}

void __wrap_free(void* block) {
    if (block != nullptr) --libc().blocksInUse;
    free(block);
}

int __wrap_socket(int domain, int type, int protocol) {
    if (libc().failSocket) {
        errno = EMFILE;
        return -1;
    }
    ++libc().socketsOpened;
    int(&arguments)[3] = libc().socketArguments;
    arguments[0] = domain;
    arguments[1] = type;
    arguments[2] = protocol;
    return socket(domain, type, protocol);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (libc().ioctl) return libc().ioctl(descriptor, request, argument);
    return ioctl(descriptor, request, argument);
}

int __wrap_close(int descriptor) {
    ++libc().descriptorsClosed;
    return close(descriptor);
}

FILE* __wrap_fopen(const char* path, const char* mode) {
    const char* actual = redirected(path);
    if (actual == nullptr) return nullptr;
    FILE* file = fopen(actual, mode);
    if (file != nullptr) ++libc().filesOpened;
    return file;
}

int __wrap_fclose(FILE* file) {
    ++libc().filesClosed;
    return fclose(file);
}

int __wrap_open(const char* path, int flags, ...) {
    const char* actual = redirected(path);
    if (actual == nullptr) return -1;
    const int descriptor = open(actual, flags);
    if (descriptor >= 0) ++libc().filesOpened;
    return descriptor;
}

ssize_t __wrap_read(int descriptor, void* buffer, size_t size) {
    return read(descriptor, buffer, size);
}

time_t __wrap_time(time_t* out) {
    const time_t now = libc().now.value_or(time(nullptr));
    if (out != nullptr) *out = now;
    return now;
}

char* __wrap_getenv(const char* name) {
    libc().variablesRead.push_back(name);
    return getenv(name);
}

int __wrap_rand(void) {
    LibcState& state = libc();
    if (state.randoms.empty()) return rand();
    const int next = state.randoms.front();
    state.randoms.erase(state.randoms.begin());
    return next;
}
}
