// Where the library's calls of the C library arrive: count, fail or answer as the test wants, or go
// on to the C library.
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

// Memory from malloc is never zero here, so that what the library leaves unset shows.
void* mallocHook(size_t size) {
    void* block = allocationFails() ? nullptr : allocated(malloc(size));
    if (block != nullptr) std::memset(block, 0xA5, size);
    return block;
}

void* callocHook(size_t count, size_t size) {
    return allocationFails() ? nullptr : allocated(calloc(count, size));
}

void* reallocHook(void* block, size_t size) {
    if (allocationFails()) return nullptr;
    void* moved = realloc(block, size);
    if (block == nullptr) return allocated(moved);
    if (moved == nullptr && size == 0) --libc().blocksInUse;
    return moved;
}

void freeHook(void* block) {
    if (block != nullptr) --libc().blocksInUse;
    free(block);
}

int socketHook(int domain, int type, int protocol) {
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

int ioctlHook(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (libc().ioctl) return libc().ioctl(descriptor, request, argument);
    return ioctl(descriptor, request, argument);
}

int closeHook(int descriptor) {
    ++libc().descriptorsClosed;
    return close(descriptor);
}

FILE* fopenHook(const char* path, const char* mode) {
    const char* actual = redirected(path);
    if (actual == nullptr) return nullptr;
    FILE* file = fopen(actual, mode);
    if (file != nullptr) ++libc().filesOpened;
    return file;
}

int fcloseHook(FILE* file) {
    ++libc().filesClosed;
    return fclose(file);
}

int openHook(const char* path, int flags, ...) {
    const char* actual = redirected(path);
    if (actual == nullptr) return -1;
    const int descriptor = open(actual, flags);
    if (descriptor >= 0) ++libc().filesOpened;
    return descriptor;
}

time_t timeHook(time_t* out) {
    const time_t now = libc().now.value_or(time(nullptr));
    if (out != nullptr) *out = now;
    return now;
}

char* getenvHook(const char* name) {
    libc().variablesRead.push_back(name);
    return getenv(name);
}

int randHook() {
    LibcState& state = libc();
    if (state.randoms.empty()) return rand();
    const int next = state.randoms.front();
    state.randoms.erase(state.randoms.begin());
    return next;
}

template <typename Function>
void* address(Function* function) {
    return reinterpret_cast<void*>(function);
}

}  // namespace

// A library that was compiled for large files calls the names that end in 64.
const std::vector<LibcHook>& libcHooks() {
    static const std::vector<LibcHook> hooks = {
        {"malloc", address(mallocHook)},   {"calloc", address(callocHook)},
        {"realloc", address(reallocHook)}, {"free", address(freeHook)},
        {"socket", address(socketHook)},   {"ioctl", address(ioctlHook)},
        {"close", address(closeHook)},     {"fopen", address(fopenHook)},
        {"fopen64", address(fopenHook)},   {"fclose", address(fcloseHook)},
        {"open", address(openHook)},       {"open64", address(openHook)},
        {"time", address(timeHook)},       {"getenv", address(getenvHook)},
        {"rand", address(randHook)},
    };
    return hooks;
}

}  // namespace pcsim::test
