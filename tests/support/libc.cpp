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

// Never destroyed: the library's own end comes after that of everything here, and may call these.
LibcState& libc() {
    static LibcState& state = *new LibcState;
    return state;
}

namespace {

bool fails(Countdown& calls, int error) {
    if (!calls.fails()) return false;
    errno = error;
    return true;
}

bool allocationFails() {
    ++libc().allocationCalls;
    return fails(libc().allocation, ENOMEM);
}

void* allocated(void* block, size_t size) {
    if (block == nullptr) return nullptr;
    ++libc().allocations;
    ++libc().blocksInUse;
    if (libc().blockSizes != nullptr) libc().blockSizes->emplace(block, size);
    return block;
}

void released(void* block) {
    --libc().blocksInUse;
    if (libc().blockSizes != nullptr) libc().blockSizes->erase(block);
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
    void* block = allocationFails() ? nullptr : allocated(malloc(size), size);
    if (block != nullptr) std::memset(block, 0xA5, size);
    return block;
}

void* callocHook(size_t count, size_t size) {
    return allocationFails() ? nullptr : allocated(calloc(count, size), count * size);
}

void* reallocHook(void* block, size_t size) {
    if (allocationFails()) return nullptr;
    if (block != nullptr) released(block);
    return allocated(realloc(block, size), size);
}

void freeHook(void* block) {
    if (block != nullptr) released(block);
    static auto& kept = *new std::vector<void*>;  // the library frees until the process ends
    if (libc().keepReleased)
        kept.push_back(block);
    else
        free(block);
}

int socketHook(int domain, int type, int protocol) {
    if (fails(libc().socket, EMFILE)) return -1;
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
    if (fails(libc().request, EIO)) return -1;
    if (libc().ioctl) return libc().ioctl(descriptor, request, argument);
    return ioctl(descriptor, request, argument);
}

int closeHook(int descriptor) {
    ++libc().descriptorsClosed;
    return close(descriptor);
}

FILE* fopenHook(const char* path, const char* mode) {
    if (fails(libc().open, EMFILE)) return nullptr;
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
    if (fails(libc().open, EMFILE)) return -1;
    const char* actual = redirected(path);
    if (actual == nullptr) return -1;
    const int descriptor = open(actual, flags);
    if (descriptor >= 0) ++libc().filesOpened;
    return descriptor;
}

ssize_t readHook(int descriptor, void* buffer, size_t size) {
    return fails(libc().read, EIO) ? -1 : read(descriptor, buffer, size);
}

template <typename Offset>
ssize_t preadHook(int descriptor, void* buffer, size_t size, Offset offset) {
    return fails(libc().read, EIO) ? -1 : pread64(descriptor, buffer, size, offset);
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
        {"malloc", address(mallocHook)},
        {"calloc", address(callocHook)},
        {"realloc", address(reallocHook)},
        {"free", address(freeHook)},
        {"socket", address(socketHook)},
        {"ioctl", address(ioctlHook)},
        {"close", address(closeHook)},
        {"fopen", address(fopenHook)},
        {"fopen64", address(fopenHook)},
        {"fclose", address(fcloseHook)},
        {"open", address(openHook)},
        {"open64", address(openHook)},
        {"read", address(readHook)},
        {"pread", address(preadHook<off_t>)},
        {"pread64", address(preadHook<off64_t>)},
        {"time", address(timeHook)},
        {"getenv", address(getenvHook)},
        {"rand", address(randHook)},
    };
    return hooks;
}

}  // namespace pcsim::test
