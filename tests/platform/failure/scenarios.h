// What a host does with each subsystem of the platform, for runs in which one call after the other
// fails. A scenario goes through the tables, keeps to the contract whatever it is answered, and can
// be driven again.
#ifndef PCSIM_TESTS_FAILURE_SCENARIOS_H
#define PCSIM_TESTS_FAILURE_SCENARIOS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "pcsim/card.h"
#include "pcsim/card_slot.h"
#include "pcsim/family.h"
#include "pcsim/system.h"

namespace pcsim::test {

class Run;

// The calls of the library that can fail.
enum Call : uint32_t {
    kAllocation = 1,
    kTreeInsert = 2,
    kOpen = 4,
    kRead = 8,
    kSocket = 16,
    kRequest = 32,
};

struct Scenario {
    const char* name;
    uint32_t reaches;  // the calls that it comes by
    void (*prepare)();
    void (*drive)(Run& run);
    void (*clear)();  // gives back all that the host can give back
    void (*state)();  // prints what an operation that has failed leaves alone
};

const std::vector<Scenario>& scenarios();

// The tables of the platform, as far as they have been set up.
struct Tables {
    HalSystemOps system;
    HalCardDb cards;
    HalFamilyOps family;
    HalCardSlotDb slots[11];
};
Tables& tables();

// A PC with eth0 to eth4, all with link, under a host that sees all traces.
void prepareHost();
// The same, with a stackable that has been brought up.
void prepareStackable();

// Memory that passes between host and platform, counted like the platform's own.
void* hostAllocates(size_t size);
void hostFrees(void* block);

// Scenarios of the tables, each in a file with its like.
void driveVlans(Run& run);
void driveFdb(Run& run);
void clearFdb();
void printFdb();
void driveIpv4(Run& run);
void clearIpv4();
void printIpv4();
void driveIpv6(Run& run);
void clearIpv6();
void printIpv6();
void driveMulticast(Run& run);
void clearMulticast();
void driveAccessLists(Run& run);
void clearAccessLists();

}  // namespace pcsim::test

#endif
