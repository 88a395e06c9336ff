// The C library calls of the platform that a test can make fail or answer for.
//
// The calls of the library under test alone come here (library.cpp); calls of the test
// itself and of GoogleTest go straight to the C library.
#ifndef PCSIM_TESTS_SUPPORT_LIBC_H
#define PCSIM_TESTS_SUPPORT_LIBC_H

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace pcsim::test {

struct LibcState {
    // Allocation: the n-th allocation from now fails (0: none does), once or from then on for ever.
    uint32_t failAllocation = 0;
    bool failForEver = false;
    uint32_t allocations = 0;  // successful ones so far
    uint32_t allocationCalls = 0;
    int32_t blocksInUse = 0;  // allocations minus releases, of the library alone

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
        failAllocation = n;
        failForEver = false;
    }
    void failAllFrom(uint32_t n = 1) {
        failAllocation = n;
        failForEver = true;
    }
    void failNone() {
        failAllocation = 0;
        failForEver = false;
    }
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
