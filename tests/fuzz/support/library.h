// The library under test: as new for each input, and what it asks of the C library.
//
// freshLibrary() frees what the library still has, puts its variables back to what they were when
// the process began and forgets the host's answers. An input runs from there.
#ifndef PCSIM_TESTS_FUZZ_SUPPORT_LIBRARY_H
#define PCSIM_TESTS_FUZZ_SUPPORT_LIBRARY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace pcsim::fuzz {

struct Library {
    uint32_t failAllocation = 0;  // the n-th from now fails, once; 0: none does
    uint32_t allocationCalls = 0;
    size_t printed = 0;            // pieces that went to standard output
    const char* slotId = nullptr;  // VORN_SLOT_ID
    std::vector<int> randoms;      // what rand() answers, from the back; 0 when there are no more

    // Files and sockets: every open gets this file, none when it is null.
    const std::string* file = nullptr;
    bool failSocket = false;
    int32_t openFiles = 0;
    std::function<int(unsigned long request, void* argument)> ioctl;  // -1 without one
    std::function<size_t(size_t wanted)> shortRead;                   // how much of a read is given
};

Library& library();

void freshLibrary();

// Blocks that the library has allocated and not yet freed, and whether that is one of them.
size_t liveBlocks();
bool isLive(const void* block);
// Makes a block from now on the library's, as it is when the host hands one over.
void handOver(void* block);
// Frees a block that the library has handed to the host.
void release(void* block);

}  // namespace pcsim::fuzz

#endif
