// The C library calls of the platform that a test can make fail or answer for.
//
// The calls of the library under test alone come here (library.cpp); calls of the test
// itself and of GoogleTest go straight to the C library.
#ifndef PCSIM_TESTS_SUPPORT_LIBC_H
#define PCSIM_TESTS_SUPPORT_LIBC_H

#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/countdown.h"

namespace pcsim::test {

struct LibcState {
    Countdown allocation;
    uint32_t allocations = 0;  // successful ones so far
    uint32_t allocationCalls = 0;
    int32_t blocksInUse = 0;  // allocations minus releases, of the library alone
    // What the library releases stays as it was and is never handed out again: who still knows it
    // finds it, and a new node is never where an old one was.
    bool keepReleased = false;
    // While it is set: the sizes of the library's blocks.
    std::map<void*, size_t>* blockSizes = nullptr;

    // The calls that can fail one by one beside those.
    Countdown open, read, socket, request;

    // Sockets and interface requests. Without handlers they reach the kernel.
    bool failSocket = false;
    uint32_t socketsOpened = 0;
    int socketArguments[3] = {};  // family, type and protocol of the last one
    uint32_t descriptorsClosed = 0;
    std::function<int(int descriptor, unsigned long request, void* argument)> ioctl;

    // Files: a path that is to be replaced by another, or by a failure when the other is empty.
    std::string redirectedPath;
    std::optional<std::string> redirectTo;
    uint32_t filesOpened = 0;
    uint32_t filesClosed = 0;

    std::vector<std::string> variablesRead;  // names given to getenv()

    // Time and chance. 'randoms' are handed out in order, then rand() is real again.
    std::optional<time_t> now;
    std::vector<int> randoms;

    void failNext(uint32_t n = 1) {
        allocation.next = n;
        allocation.forEver = false;
    }
    void failAllFrom(uint32_t n = 1) {
        allocation.next = n;
        allocation.forEver = true;
    }
    void failNone() { failNext(0); }
};

LibcState& libc();

// A function of the C library and what the library under test calls in its place.
struct LibcHook {
    const char* name;
    void* function;
};

const std::vector<LibcHook>& libcHooks();

}  // namespace pcsim::test

#endif
