// Stubs: what is called instead of the functions that cross the boundary.
//
// They stand in the program as a pool of equal pieces of code, each with a record of its own. So
// nothing has to be made executable at run time, debuggers and unwinders find their way through
// them, and code of one probe can tell the stubs of another: each has its mark in front of it.
//
// A stub counts the call. It takes the detour through the observers when its record or the poll
// flag says so, else it calls the target with as many words as the function takes and looks at
// what comes back. Functions without a result to look at, and those that take whatever they are
// given, are jumped to.
#ifndef PCSIM_PROBE_BOUNDARY_STUB_H
#define PCSIM_PROBE_BOUNDARY_STUB_H

#include <atomic>
#include <cstdint>

#include "probe/boundary/call.h"

namespace pcsim::probe {

struct Crossing;

// Why the calls of a stub take the detour.
constexpr uint32_t kWatched = 1;     // an observer wants to see them
constexpr uint32_t kTimed = 2;       // their time is taken
constexpr uint32_t kUnresolved = 4;  // the target hasn't been looked up yet
constexpr uint32_t kHandsOver = 8;   // functions cross with them that get stubs

// The code knows where the words are.
struct StubRecord {
    void* target;
    void (*body)();
    Counts* counts;
    const volatile uint32_t* poll;  // the detour also while what it points to isn't 0
    std::atomic<uint32_t> detours;
    Crossing* crossing;
};

constexpr uint32_t kStubs = 1024;

StubRecord& stubRecord(uint32_t number);
void* stubCode(uint32_t number);

// Whether a function's results are codes, of which those below 0 are failures.
bool answersCodes(const Function& function, Side side);
// Whether they are records, of which null is one that isn't there.
bool answersRecords(const Function& function);
// The code behind a stub that does what the function's type asks for.
void (*bodyFor(const Function& function, Side side))();

// The record of a stub of this probe; null for all else.
StubRecord* recordOf(const void* code);
// What the stub at 'code', of this probe or another, calls; null when it is none. The page that
// 'code' lies in is read.
void* targetOf(const void* code);

// Calls 'target' with copies of 'words' words on a stack that is aligned for any code. 'table' is
// in ebx, where code that has a function looked up expects its own object's table of addresses.
extern "C" uint64_t pcsimProbeInvoke(void* target, const Word* arguments, uint32_t words,
                                     const void* table);

// The detour, for the stubs: makes the call and returns eax and edx.
extern "C" uint64_t pcsimProbeDetour(StubRecord* record, Word* arguments);

}  // namespace pcsim::probe

#endif
